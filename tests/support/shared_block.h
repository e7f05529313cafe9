// A block of shared memory as a renderer makes it.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace support {

// The begin of a block: words of 32 bits in the order of the layout.
inline std::string block_header(std::initializer_list<std::uint32_t> words) {
  std::string bytes;
  for (const std::uint32_t word : words) {
    for (int i = 0; i < 4; ++i) bytes += static_cast<char>(word >> (8 * i));
  }
  return bytes;
}

// Under a name of its own; removed at the end.
class shared_block {
 public:
  explicit shared_block(const std::string& bytes) {
    static std::atomic<int> count = 0;
    name_ = "kestrin_test_" + std::to_string(getpid()) + "_" + std::to_string(++count);
    handle_ = shm_open(("/" + name_).c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (handle_ < 0) throw std::runtime_error("no shared memory");
    write(bytes);
  }
  ~shared_block() {
    remove();
    close(handle_);
  }
  shared_block(const shared_block&) = delete;
  shared_block& operator=(const shared_block&) = delete;

  std::string path() const { return "shm:/" + name_; }
  const std::string& name() const { return name_; }
  void write(const std::string& bytes, long at = 0) const {
    if (pwrite(handle_, bytes.data(), bytes.size(), at) != static_cast<ssize_t>(bytes.size())) {
      throw std::runtime_error("no room in shared memory");
    }
  }
  void resize(long bytes) const {
    if (ftruncate(handle_, bytes) != 0) throw std::runtime_error("no room in shared memory");
  }
  void remove() const { shm_unlink(("/" + name_).c_str()); }

 private:
  std::string name_;
  int handle_ = -1;
};

}  // namespace support
