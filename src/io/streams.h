// The two narrow interfaces that every format and archive reads and writes through.
//
// Streams are chained by reference on the stack, bottom first; an upper stream never owns the one below it. A stream
// belongs to one thread at a time. Values pass as raw little-endian bytes.
#pragma once

namespace io {

struct binary_reader {
  virtual ~binary_reader() = default;
  // Moves up to `count` bytes into `buffer` and returns the number moved; a short count is the end of the data. A null
  // `buffer` skips `count` bytes. Throws io::read_error, io::seek_error.
  virtual int read(void* buffer, int count) = 0;
  // The name of the stream in error messages: a path, or a fixed word.
  virtual const char* name() const = 0;
};

struct binary_writer {
  virtual ~binary_writer() = default;
  // Writes all `count` bytes or throws io::write_error.
  virtual void write(const void* buffer, int count) = 0;
  // Pushes everything out to the end of the chain.
  virtual void flush() = 0;
  virtual const char* name() const = 0;
};

}  // namespace io
