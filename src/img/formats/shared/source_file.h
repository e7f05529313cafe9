// The source of bytes for the film readers: a file that is read at given places, with failures as exceptions.
#pragma once

#include <string>

#include "platform/positioned_file.h"

namespace img {

class source_file {
 public:
  // Throws io::open_error.
  explicit source_file(const std::string& path);

  const std::string& path() const { return path_; }
  std::int64_t size() const { return file_.size(); }
  const platform::positioned_file& raw() const { return file_; }

  // Fills the buffer or throws io::read_error, io::eof_error. Any thread.
  void read(void* buffer, std::size_t count, std::int64_t offset) const;
  // Throws io::eof_error unless `count` bytes follow `offset`. For use before memory is asked for.
  void check_range(std::int64_t offset, std::int64_t count) const;

 private:
  std::string path_;
  platform::positioned_file file_;
};

}  // namespace img
