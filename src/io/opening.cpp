#include "io/opening.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "io/exceptions.h"
#include "io/part_file.h"

namespace io {
namespace {

[[noreturn]] void fail(const std::string& source, const char* call, int reason) {
  if (call) throw open_error(source, call, reason);
  throw open_error(source, reason);
}

[[noreturn]] void close_and_fail(int handle, const std::string& source, const char* call, int reason) {
  close(handle);
  fail(source, call, reason);
}

// Takes the lock of an opened file. Readers take none: on a network file system it would cost each frame a round trip.
// A file system without locks counts as locked.
bool lock_for_writing(int handle) {
  return is_own_part(handle) || flock(handle, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

void wait_from_now_on(int handle) {
  fcntl(handle, F_SETFL, fcntl(handle, F_GETFL) & ~O_NONBLOCK);
}

}  // namespace

bool is_file_at(int handle, const std::string& path) {
  struct stat opened, present;
  return fstat(handle, &opened) == 0 && stat(path.c_str(), &present) == 0 && opened.st_dev == present.st_dev &&
         opened.st_ino == present.st_ino;
}

int open_to_read(const std::string& path, const char* call) {
  // Without O_NONBLOCK the opening of a named pipe would wait for a writer, perhaps for ever.
  const int handle = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (handle < 0) fail(path, call, errno);
  struct stat status {};
  fstat(handle, &status);
  if (S_ISDIR(status.st_mode)) close_and_fail(handle, path, call, EISDIR);
  if (S_ISFIFO(status.st_mode)) close_and_fail(handle, path, call, ESPIPE);
  wait_from_now_on(handle);
  return handle;
}

int open_to_write(const std::string& path, const std::string& source, const char* call) {
  for (;;) {
    // The opening of a pipe would wait for a reader.
    const int handle = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0666);
    if (handle < 0) fail(source, call, errno);
    wait_from_now_on(handle);
    struct stat status {};
    fstat(handle, &status);
    if (!S_ISREG(status.st_mode)) return handle;
    if (!lock_for_writing(handle)) close_and_fail(handle, source, call, EWOULDBLOCK);
    if (is_file_at(handle, path)) return handle;
    close(handle);  // the writer before us has renamed it since we opened it
  }
}

bool empty_file(int handle) {
  // A new file is left as it is: ext4 writes a file that was emptied to the disk as soon as it is closed, and then a
  // saved frame takes several times as long.
  struct stat status {};
  if (fstat(handle, &status) == 0 && (!S_ISREG(status.st_mode) || status.st_size == 0)) return true;
  return ftruncate(handle, 0) == 0;
}

std::FILE* open_stream(const std::string& path, const char* mode) {
  const bool writes = mode[0] == 'w';
  const int handle = writes ? open_to_write(path, path) : open_to_read(path);
  if (writes && !empty_file(handle)) close_and_fail(handle, path, nullptr, errno);
  std::FILE* const stream = fdopen(handle, mode);
  if (!stream) close_and_fail(handle, path, nullptr, errno);
  return stream;
}

}  // namespace io
