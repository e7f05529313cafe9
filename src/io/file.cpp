#include "io/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

#include "io/exceptions.h"
#include "io/opening.h"

namespace io {
namespace {

int open_for_reading(const std::string& path) {
  const int handle = open_to_read(path, "CreateFile");
  posix_fadvise(handle, 0, 0, POSIX_FADV_SEQUENTIAL);
  return handle;
}

int open_for_writing(const std::string& path) {
  const int handle = open_to_write(path, path, "CreateFile");
  if (!empty_file(handle)) {
    const int reason = errno;
    close(handle);
    throw open_error(path, "CreateFile", reason);
  }
  return handle;
}

// Repeats `part(buffer, count, done)`, a read of the system that goes on after `done` bytes, until all came or the
// data ends.
template <class Part>
int read_in_parts(const std::string& path, void* buffer, int count, const Part& part) {
  int done = 0;
  while (done < count) {
    const ssize_t size = part(static_cast<char*>(buffer) + done, static_cast<std::size_t>(count - done), done);
    if (size < 0 && errno == EINTR) continue;
    if (size < 0) throw read_error(path, "ReadFile", errno);
    if (size == 0) break;
    done += static_cast<int>(size);
  }
  return done;
}

}  // namespace

file::file(const std::string& path, const char* mode) : stream_(open_stream(path, mode)), path_(path) {}

file::~file() {
  std::fclose(stream_);
}

int file::read(void* buffer, int count) {
  if (count < 1) return 0;
  if (!buffer) {
    if (fseeko(stream_, count, SEEK_CUR) != 0) throw seek_error(path_, errno);
    return count;
  }
  const std::size_t size = std::fread(buffer, 1, static_cast<std::size_t>(count), stream_);
  if (std::ferror(stream_)) throw read_error(path_, errno);
  return static_cast<int>(size);
}

void file::write(const void* buffer, int count) {
  if (count < 1) return;
  const auto size = static_cast<std::size_t>(count);
  if (std::fwrite(buffer, 1, size, stream_) != size) throw write_error(path_, errno);
}

void file::flush() {
  if (std::fflush(stream_) != 0) throw write_error(path_, errno);
}

llfile::llfile(const std::string& path, bool write)
    : handle_(write ? open_for_writing(path) : open_for_reading(path)), path_(path) {}

llfile::~llfile() {
  close(handle_);
}

int llfile::read(void* buffer, int count) {
  if (count < 1) return 0;
  if (!buffer) {
    seek(count, SEEK_CUR);
    return count;
  }
  return read_in_parts(path_, buffer, count,
                       [&](char* to, std::size_t size, int) { return ::read(handle_, to, size); });
}

int llfile::read_at(void* buffer, int count, std::int64_t offset) const {
  return read_in_parts(path_, buffer, count,
                       [&](char* to, std::size_t size, int done) { return pread(handle_, to, size, offset + done); });
}

void llfile::read_exact(void* buffer, int count) {
  if (read(buffer, count) < count) throw eof_error(path_);
}

void llfile::write(const void* buffer, int count) {
  int done = 0;
  while (done < count) {
    const ssize_t size =
        ::write(handle_, static_cast<const char*>(buffer) + done, static_cast<std::size_t>(count - done));
    if (size < 0 && errno == EINTR) continue;
    if (size <= 0) throw write_error(path_, "WriteFile", size < 0 ? errno : ENOSPC);
    done += static_cast<int>(size);
  }
}

void llfile::flush_to_disk() {
  if (fsync(handle_) != 0 && errno != EINVAL) throw write_error(path_, "WriteFile", errno);
}

void llfile::seek(int offset, int origin) {
  if (try_seek(offset, origin) < 0) throw seek_error(path_, "SetFilePointer");
}

int llfile::try_seek(int offset, int origin) {
  const off_t position = lseek(handle_, offset, origin);
  return position > INT_MAX ? -1 : static_cast<int>(position);
}

int llfile::tell() {
  return try_seek(0, SEEK_CUR);
}

std::int64_t llfile::size() const {
  struct stat status;
  return fstat(handle_, &status) == 0 ? static_cast<std::int64_t>(status.st_size) : 0;
}

}  // namespace io
