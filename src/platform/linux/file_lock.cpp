#include "platform/file_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

namespace platform {

file_lock::file_lock(const std::string& path, int milliseconds)
    : handle_(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
  constexpr int step = 5;
  while (handle_ >= 0 && flock(handle_, LOCK_EX | LOCK_NB) != 0) {
    // A file system that knows no locks has nobody to wait for.
    if (errno != EWOULDBLOCK && errno != EINTR) return;
    if (milliseconds <= 0) {
      close(handle_);
      handle_ = -1;
      return;
    }
    usleep(step * 1000);
    milliseconds -= step;
  }
}

file_lock::~file_lock() {
  if (handle_ >= 0) close(handle_);
}

}  // namespace platform
