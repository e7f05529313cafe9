// A stretch of a file, taken in from front to end, of which a second thread reads ahead when there is one.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "img/plane.h"
#include "io/file.h"

namespace img {

// One thread takes the bytes; another may be inside read_ahead() meanwhile. The bytes stand in a few pieces that fit in
// the processor's cache, so that little memory is used whatever the size of the file.
class read_ahead_stream {
 public:
  static constexpr std::size_t piece_size = 256 << 10;
  static constexpr std::size_t margin = 64;  // bytes that may be left over, and bytes after end() that are readable

  // From `begin` to `end` of the file, which must outlive the stream.
  read_ahead_stream(const io::llfile& file, std::int64_t begin, std::int64_t end);

  // The bytes at hand.
  const std::uint8_t* position() const { return position_; }
  const std::uint8_t* end() const { return end_; }
  void move_to(const std::uint8_t* position) { position_ = position; }
  // Puts the next piece after the bytes that are left, at most `margin`. Throws io::eof_error after the last one, and
  // what the reading of the piece throws.
  void more();

  // Reads pieces until the last one or stop(), as far ahead as there is room. Does nothing about failures: the other
  // thread meets them when it reads the piece itself.
  void read_ahead() noexcept;
  // Lets read_ahead() return. Must be called when no more bytes are wanted.
  void stop() noexcept;

 private:
  enum class state { untouched, being_read, ready };

  std::uint8_t* slot_of(int piece);
  bool claim(int piece);
  void read(int piece);
  void set_state(int piece, state value);

  const io::llfile& file_;
  std::int64_t begin_;
  std::int64_t size_;
  std::size_t piece_bytes_;
  int slots_;
  plane memory_;
  std::vector<std::atomic<state>> states_;  // of the pieces
  std::atomic<int> limit_;                  // pieces from here on have no room yet
  int next_ = 0;                            // piece that more() brings
  const std::uint8_t* position_ = nullptr;
  const std::uint8_t* end_ = nullptr;
};

}  // namespace img
