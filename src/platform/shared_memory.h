// Blocks of memory that another program shares under a name (POSIX shared memory).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace platform {

// Read with calls and never mapped: a writer that cuts its block would end a process that reads a mapping of it.
// Nothing here throws; any thread may read.
class shared_memory {
 public:
  // `name` without a slash; check error().
  explicit shared_memory(const std::string& name);
  ~shared_memory();
  shared_memory(const shared_memory&) = delete;
  shared_memory& operator=(const shared_memory&) = delete;

  int error() const { return error_; }  // errno of the opening, 0 when the block is open
  // Bytes at this moment; 0 when that can't be told.
  std::int64_t size() const;
  // False when fewer than `count` bytes are there.
  bool read(void* buffer, std::size_t count, std::int64_t offset) const;
  // Asks the system to hold these bytes in large pages, from which a call reads in half the time. Takes about 2 ms for
  // a megabyte, once, and whatever memory the writer has not touched yet; does nothing where the system does not want
  // to.
  void prefer_large_pages(std::int64_t offset, std::int64_t count) const;

 private:
  int handle_ = -1;
  int error_ = 0;
};

}  // namespace platform
