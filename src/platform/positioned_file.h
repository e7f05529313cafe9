// A file that is read at given places, and reads that leave the system's page cache as it is.
#pragma once

#include <sys/uio.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace platform {

// An open regular file. Any number of threads may read it at once. Nothing here throws.
class positioned_file {
 public:
  // Opens for reading; check error().
  explicit positioned_file(const std::string& path);
  ~positioned_file();
  positioned_file(const positioned_file&) = delete;
  positioned_file& operator=(const positioned_file&) = delete;

  int error() const { return error_; }  // errno of the opening, 0 when the file is open
  std::int64_t size() const { return size_; }

  // Bytes that were read, fewer than `count` only at the end of the file; -1 with errno set on failure.
  std::int64_t read(void* buffer, std::size_t count, std::int64_t offset) const;
  // The same into `count` (at most 1024) pieces one after the other. Changes the pieces.
  std::int64_t read_pieces(iovec* pieces, int count, std::int64_t offset) const;

  // Reads exactly `count` bytes. Pages that are in the page cache are copied from there; the others are read around it.
  // False when the file, the alignment or the system does not allow that, or fewer bytes are there; the buffer then
  // holds nothing of use. Address, `count` and `offset` must be multiples of direct_alignment. `fresh`: the buffer is
  // memory that has no pages yet.
  bool read_direct(void* buffer, std::size_t count, std::int64_t offset, bool fresh = false) const;
  static constexpr std::size_t direct_alignment = 512;

 private:
  int fd_ = -1;
  int error_ = 0;
  std::int64_t size_ = 0;
};

}  // namespace platform
