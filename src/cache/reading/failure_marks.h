// Frames that could not be read, so that nobody tries them again before their file changes.
#pragma once

#include <cstdint>
#include <exception>
#include <mutex>
#include <string>
#include <unordered_map>

#include "cache/frame_cache.h"

namespace cache {

// Any thread. The lock is held for a search, never while a file is examined.
class failure_marks {
 public:
  // The file behind the key, `file`, failed with `why`; null for a frame that the source could not give. `stamp`:
  // platform::file_stamp() from before the file was read.
  void set(const frame_key& key, const std::string& file, std::uint64_t stamp, std::exception_ptr why);
  // Lets frames be tried again: those of a file, of a folder, all whose file has changed, and all.
  void forget(const std::string& path);
  void forget_folder(const std::string& folder);
  void forget_changed();
  void forget_all();

  // Whether the frame failed, and its file is still the same. `why` then is what was thrown. A mark whose file has
  // changed goes.
  bool still_fails(const frame_key& key, std::exception_ptr& why);
  // Whether there is a mark. Looks at no file.
  bool has(const frame_key& key) const;

 private:
  struct mark {
    std::string file;
    std::uint64_t stamp = 0;
    std::exception_ptr why;
  };

  template <class Matches>
  void forget_if(const Matches& matches);

  mutable std::mutex lock_;
  std::unordered_map<frame_key, mark, frame_key_hash> marks_;  // lock_
};

}  // namespace cache
