#include "lib/text_file.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace lib {
namespace {

constexpr std::size_t largest = 256 << 20;       // /dev/zero is a file, too
constexpr int longest_wait_for_a_writer = 2000;  // milliseconds

struct open_file {
  explicit open_file(const std::string& path) : handle(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}
  ~open_file() {
    const int reason = errno;
    if (handle >= 0) close(handle);
    errno = reason;
  }
  open_file(const open_file&) = delete;
  open_file& operator=(const open_file&) = delete;
  const int handle;
};

bool fail(int reason) {
  errno = reason;
  return false;
}

// Waits for data or the end of a pipe. A pipe that nobody has opened for writing yet says neither.
bool wait_for_data(int handle, int milliseconds) {
  pollfd waiting{handle, POLLIN, 0};
  const int count = poll(&waiting, 1, milliseconds);
  if (count == 0) return fail(ENODATA);
  return count > 0;
}

bool read_all(int handle, std::string& text) {
  std::string block(1 << 16, '\0');
  for (;;) {
    const ssize_t count = read(handle, block.data(), block.size());
    if (count == 0) return true;
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && errno != EAGAIN) return false;
    if (count < 0 && !wait_for_data(handle, -1)) return false;
    if (count > 0) text.append(block, 0, static_cast<std::size_t>(count));
    if (text.size() > largest) return fail(0);
  }
}

}  // namespace

bool read_text_file(const std::string& path, std::string& text, pipes pipes) {
  const open_file file(path);
  if (file.handle < 0) return false;
  struct stat status {};
  fstat(file.handle, &status);
  if (S_ISFIFO(status.st_mode)) {
    if (pipes == pipes::refused) return fail(ESPIPE);
    if (!wait_for_data(file.handle, longest_wait_for_a_writer)) return false;
  }
  text.clear();
  if (!read_all(file.handle, text)) return false;
  if (text.starts_with("\xEF\xBB\xBF")) text.erase(0, 3);
  return true;
}

bool is_pipe(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode);
}

}  // namespace lib
