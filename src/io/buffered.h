// Buffers in front of a stream. Neither owns the stream below it.
#pragma once

#include <cstdint>
#include <vector>

#include "io/streams.h"

namespace io {

constexpr int default_buffer_size = 32768;  // what every reader and writer of pictures uses

// A skip reads the skipped bytes; read_through() passes it on instead.
class buffered_reader : public binary_reader {
 public:
  explicit buffered_reader(binary_reader& reader, int size = default_buffer_size);

  int read(void* buffer, int count) override;
  const char* name() const override { return reader_.name(); }

  // Takes what the buffer holds and the rest straight from the stream below, without filling the buffer.
  int read_through(void* buffer, int count);
  // Bytes in the buffer that are not read yet.
  int available() const { return static_cast<int>(end_ - position_); }
  // The unread bytes of the buffer, for parsers that look before they take; take(n) moves past n of them. False from
  // fill() is the end of the data; it reads only when the buffer is empty.
  const std::uint8_t* peek() const { return position_; }
  void take(int count) { position_ += count; }
  bool fill();
  // Forgets the buffered bytes. Needed after the stream below was moved directly.
  void discard() { position_ = end_; }
  // Steps back by `count` if that many bytes of the present buffer were read; false and no change otherwise.
  bool unread(int count);

 private:
  int take_buffered(std::uint8_t* buffer, int count);

  std::vector<std::uint8_t> buffer_;
  const std::uint8_t* position_;
  const std::uint8_t* end_;
  binary_reader& reader_;
};

// Hands a full buffer down when the next byte needs room. The destructor flushes and swallows failures: flush() first
// where they matter.
class buffered_writer : public binary_writer {
 public:
  explicit buffered_writer(binary_writer& writer, int size = default_buffer_size);
  ~buffered_writer() override;
  buffered_writer(const buffered_writer&) = delete;
  buffered_writer& operator=(const buffered_writer&) = delete;

  void write(const void* buffer, int count) override;
  void flush() override;
  const char* name() const override { return writer_.name(); }

 private:
  std::vector<std::uint8_t> buffer_;
  int pending_ = 0;
  binary_writer& writer_;
};

}  // namespace io
