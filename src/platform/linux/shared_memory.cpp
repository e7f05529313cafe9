#include "platform/shared_memory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace platform {
namespace {

constexpr std::int64_t large_page = 2 << 20;
constexpr std::int64_t most_in_large_pages = 512 << 20;
constexpr int collapse = 25;  // MADV_COLLAPSE, Linux 6.1

}  // namespace

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

void shared_memory::prefer_large_pages(std::int64_t offset, std::int64_t count) const {
  const std::int64_t begin = offset / large_page * large_page;
  const std::int64_t end = (offset + count + large_page - 1) / large_page * large_page;
  if (count < large_page / 2 || end - begin > most_in_large_pages) return;
  // The call wants addresses: a mapping that lies as the pages do, which nobody looks into.
  const auto bytes = static_cast<std::size_t>(end - begin);
  const std::size_t room = bytes + large_page;
  void* const reserved = mmap(nullptr, room, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (reserved == MAP_FAILED) return;
  const auto address = (reinterpret_cast<std::uintptr_t>(reserved) + large_page - 1) / large_page * large_page;
  void* const view = mmap(reinterpret_cast<void*>(address), bytes, PROT_READ, MAP_SHARED | MAP_FIXED, handle_, begin);
  if (view != MAP_FAILED) madvise(view, bytes, collapse);
  munmap(reserved, room);
}

}  // namespace platform
