#include "platform/positioned_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "lib/foreground.h"
#include "platform/memory.h"

namespace platform {
namespace {

// Piece that is read around the cache before the cache is tried again.
constexpr std::size_t direct_bytes = 4u << 20;
// Piece that is copied from the cache at once. New memory is made present by these: it comes zeroed into the
// processor's cache, and is written there.
constexpr std::size_t piece_bytes = 256u << 10;

// Reads what the page cache holds from the start of the stretch, without waiting for the disk; 0 for nothing, -1 when
// the file system can't tell. The system answers a miss by reading ahead as much as was asked for. So the pieces begin
// small and double: what comes into the cache is never more than what was there.
std::int64_t read_cached(int fd, char* buffer, std::size_t count, std::int64_t offset, bool fresh) {
  std::size_t done = 0;
  while (done < count) {
    iovec piece{buffer + done, std::min({count - done, std::max<std::size_t>(done, 4096), piece_bytes})};
    lib::give_way();
    if (fresh) make_present(piece.iov_base, piece.iov_len);
    const ssize_t got = preadv2(fd, &piece, 1, offset + static_cast<std::int64_t>(done), RWF_NOWAIT);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0 && errno != EAGAIN) return -1;
    if (got <= 0) break;
    done += static_cast<std::size_t>(got);
  }
  return static_cast<std::int64_t>(done);
}

// A second descriptor of the same file for reads around the cache, opened at the first miss.
struct direct_descriptor {
  int fd = -1;
  ~direct_descriptor() {
    if (fd >= 0) close(fd);
  }
  bool open_once(int of) {
    if (fd < 0) fd = open(("/proc/self/fd/" + std::to_string(of)).c_str(), O_RDONLY | O_DIRECT | O_CLOEXEC);
    return fd >= 0;
  }
};

}  // namespace

positioned_file::positioned_file(const std::string& path) {
  // Without O_NONBLOCK the opening of a named pipe would wait for a writer.
  fd_ = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd_ < 0) {
    error_ = errno;
    return;
  }
  struct stat info {};
  if (fstat(fd_, &info) != 0) {
    error_ = errno;
  } else if (S_ISDIR(info.st_mode)) {
    error_ = EISDIR;
  } else if (!S_ISREG(info.st_mode)) {
    error_ = ESPIPE;
  }
  size_ = info.st_size;
}

positioned_file::~positioned_file() {
  if (fd_ >= 0) close(fd_);
}

std::int64_t positioned_file::read(void* buffer, std::size_t count, std::int64_t offset) const {
  std::size_t done = 0;
  while (done < count) {
    const ssize_t got =
        pread(fd_, static_cast<char*>(buffer) + done, count - done, offset + static_cast<std::int64_t>(done));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return -1;
    if (got == 0) break;
    done += static_cast<std::size_t>(got);
  }
  return static_cast<std::int64_t>(done);
}

std::int64_t positioned_file::read_pieces(iovec* pieces, int count, std::int64_t offset) const {
  std::int64_t done = 0;
  int first = 0;
  while (first < count) {
    const ssize_t got = preadv(fd_, pieces + first, count - first, offset + done);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return -1;
    if (got == 0) break;
    done += got;
    std::size_t left = static_cast<std::size_t>(got);
    while (first < count && left >= pieces[first].iov_len) left -= pieces[first++].iov_len;
    if (left > 0) {
      pieces[first].iov_base = static_cast<char*>(pieces[first].iov_base) + left;
      pieces[first].iov_len -= left;
    }
  }
  return done;
}

bool positioned_file::read_direct(void* buffer, std::size_t count, std::int64_t offset, bool fresh) const {
  if ((reinterpret_cast<std::uintptr_t>(buffer) | count | static_cast<std::uint64_t>(offset)) % direct_alignment != 0) {
    return false;
  }
  char* const bytes = static_cast<char*>(buffer);
  posix_fadvise(fd_, 0, 0, POSIX_FADV_RANDOM);
  direct_descriptor direct;
  std::size_t done = 0;
  while (done < count) {
    const std::int64_t cached =
        read_cached(fd_, bytes + done, count - done, offset + static_cast<std::int64_t>(done), fresh);
    if (cached < 0) return false;
    // A cached stretch may end at any byte; the read around the cache begins at the boundary before it.
    done += static_cast<std::size_t>(cached);
    if (done == count) return true;
    done -= done % direct_alignment;
    if (!direct.open_once(fd_)) return false;
    const std::size_t wanted = std::min(count - done, direct_bytes);
    const ssize_t got = pread(direct.fd, bytes + done, wanted, offset + static_cast<std::int64_t>(done));
    if (got < 0 && errno == EINTR) continue;
    // A short count that is not a multiple is the end of the file.
    if (got <= 0 || static_cast<std::size_t>(got) % direct_alignment != 0) return false;
    done += static_cast<std::size_t>(got);
  }
  return true;
}

}  // namespace platform
