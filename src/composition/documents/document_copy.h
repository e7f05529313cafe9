// A copy of the document of a process that runs, for the case that it ends badly.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_lock.h"

namespace ksn {

// One folder below that of the unsaved documents, locked while this lives: a lock that nobody holds tells of a process
// that is gone. At most one copy is in it.
class document_copy {
 public:
  // `folder`: that of the recent lists. Throws io::open_error.
  explicit document_copy(const std::string& folder);
  // Removes the copy.
  ~document_copy();
  document_copy(const document_copy&) = delete;
  document_copy& operator=(const document_copy&) = delete;

  // Puts a document (write_composition() in io::document_bytes()) in place of the one before. Throws the io family. Any
  // thread, one call at a time.
  void write(const std::string& name, std::string_view bytes);
  void remove();
  bool exists() const { return !path_.empty(); }

 private:
  std::string place_;
  std::unique_ptr<platform::file_lock> lock_;
  std::string path_;  // of the copy, empty for none
};

// Enters the copies of processes that are gone among the unsaved documents and returns their paths, the newest first.
std::vector<std::string> adopt_copies(const std::string& folder);

}  // namespace ksn
