#include "platform/shared_memory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace platform {

shared_memory::shared_memory(const std::string& name) {
  if (name.empty() || name.find('/') != name.npos || name.find('\0') != name.npos) {
    error_ = EINVAL;
    return;
  }
  // A pipe of that name would wait for a writer.
  handle_ = shm_open(("/" + name).c_str(), O_RDONLY | O_NONBLOCK, 0);
  struct stat info {};
  if (handle_ < 0 || fstat(handle_, &info) != 0) {
    error_ = errno;
  } else if (!S_ISREG(info.st_mode)) {
    error_ = ESPIPE;
  }
}

shared_memory::~shared_memory() {
  if (handle_ >= 0) close(handle_);
}

std::int64_t shared_memory::size() const {
  struct stat info {};
  return fstat(handle_, &info) == 0 ? info.st_size : 0;
}

bool shared_memory::read(void* buffer, std::size_t count, std::int64_t offset) const {
  std::size_t done = 0;
  while (done < count) {
    const ssize_t got =
        pread(handle_, static_cast<char*>(buffer) + done, count - done, offset + static_cast<std::int64_t>(done));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    done += static_cast<std::size_t>(got);
  }
  return true;
}

}  // namespace platform
