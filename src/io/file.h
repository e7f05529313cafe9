// Files as streams. Paths are UTF-8 and go to the system as they are.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "io/streams.h"

namespace io {

// A C stream. Failures carry the text of the errno.
class file : public binary_reader, public binary_writer {
 public:
  // `mode` is "rb" or "wb". Throws io::open_error, also for a folder, a pipe that is to be read, and a file that
  // another program is writing.
  file(const std::string& path, const char* mode);
  ~file() override;
  file(const file&) = delete;
  file& operator=(const file&) = delete;

  // A null buffer seeks forward by `count`, past the end of the file too, and returns `count`.
  int read(void* buffer, int count) override;
  void write(const void* buffer, int count) override;
  void flush() override;
  const char* name() const override { return path_.c_str(); }

 private:
  std::FILE* stream_;
  std::string path_;
};

// The system's own calls, without a buffer, for files that are read or written from end to end. Failures carry the
// fixed messages "CreateFile", "ReadFile", "WriteFile" and "SetFilePointer". Positions stay below 2 GiB: a seek to or
// beyond it fails. Plain reading and writing goes on past it.
class llfile : public binary_reader, public binary_writer {
 public:
  // Reading needs an existing file, which is no pipe. Writing creates or empties it, and fails while another llfile,
  // of any process, writes to it.
  // Throws io::open_error.
  llfile(const std::string& path, bool write);
  ~llfile() override;
  llfile(const llfile&) = delete;
  llfile& operator=(const llfile&) = delete;

  // A null buffer seeks forward by `count`, past the end of the file too, and returns `count`.
  int read(void* buffer, int count) override;
  // read(), which throws io::eof_error unless all came.
  void read_exact(void* buffer, int count);
  // Reads at a place of the file and leaves the position alone. Fewer bytes than `count` come only at the end of the
  // file. Any number of threads may do so at once.
  int read_at(void* buffer, int count, std::int64_t offset) const;
  void write(const void* buffer, int count) override;
  void flush() override {}
  // Returns when the written bytes are on the disk.
  void flush_to_disk();
  const char* name() const override { return path_.c_str(); }

  // `origin` is SEEK_SET, SEEK_CUR or SEEK_END. Throws io::seek_error.
  void seek(int offset, int origin);
  // The new position or -1.
  int try_seek(int offset, int origin);
  // The position, -1 at or beyond 2 GiB.
  int tell();
  // Bytes of the whole file at this moment.
  std::int64_t size() const;

 private:
  int handle_;
  std::string path_;
};

}  // namespace io
