#include "img/formats/tiff/lzw.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "img/formats/shared/byte_order.h"

namespace img {
namespace {

constexpr unsigned clear_code = 256, end_code = 257, first_free = 258, most_codes = 4096;

// Codes of 9 to 12 bits, most significant bit first.
class code_reader {
 public:
  code_reader(const std::uint8_t* in, std::size_t size) : at_(in), end_(in + size) {}
  // The end code after the last byte.
  unsigned next(int width) {
    if (count_ < width) {
      if (end_ - at_ >= 8) {
        // As many whole bytes as fit.
        const int bytes = (63 - count_) / 8;
        bits_ = bits_ << (8 * bytes) | be64(at_) >> (64 - 8 * bytes);
        at_ += bytes;
        count_ += 8 * bytes;
      } else {
        while (count_ < width && at_ < end_) {
          bits_ = bits_ << 8 | *at_++;
          count_ += 8;
        }
        if (count_ < width) return end_code;
      }
    }
    count_ -= width;
    return static_cast<unsigned>(bits_ >> count_) & ((1U << width) - 1);
  }

 private:
  const std::uint8_t* at_;
  const std::uint8_t* end_;
  std::uint64_t bits_ = 0;
  int count_ = 0;
};

}  // namespace

// A code that was added stands for the string of the code before it and one byte more, and both lie one after the other
// in the output already: a place and a length are all that is kept.
std::size_t unpack_lzw(std::uint8_t* out, std::size_t room, const std::uint8_t* in, std::size_t size) {
  struct string {
    std::uint32_t at;
    std::uint32_t length;
  };
  std::array<string, most_codes> strings;
  code_reader codes(in, size);
  unsigned next = first_free;
  int width = 9;
  std::size_t filled = 0;
  bool fresh = true;  // no string before this code since the last clearing
  string before{0, 0};
  while (filled < room) {
    const unsigned code = codes.next(width);
    if (code == end_code) break;
    if (code == clear_code) {
      next = first_free;
      width = 9;
      fresh = true;
      continue;
    }
    string now{static_cast<std::uint32_t>(filled), 1};
    if (code < clear_code) {
      out[filled++] = static_cast<std::uint8_t>(code);
    } else {
      // The code that is about to be added is the string before and its first byte again.
      if (fresh || code > next) break;
      const string from = code == next ? string{before.at, before.length + 1} : strings[code];
      const std::size_t length = std::min<std::size_t>(from.length, room - filled);
      const std::uint8_t* source = out + from.at;
      std::uint8_t* target = out + filled;
      if (target - source >= 8 && room - filled >= length + 8) {
        for (std::size_t i = 0; i < length; i += 8) std::memcpy(target + i, source + i, 8);
      } else {
        for (std::size_t i = 0; i < length; ++i) target[i] = source[i];
      }
      now.length = static_cast<std::uint32_t>(length);
      filled += length;
    }
    if (!fresh) {
      if (next >= most_codes) break;
      strings[next++] = {before.at, before.length + 1};
      // The width changes one code early.
      if (next == 511 || next == 1023 || next == 2047) ++width;
    }
    fresh = false;
    before = now;
  }
  return filled;
}

std::size_t pack_lzw(std::uint8_t* out, const std::uint8_t* in, std::size_t size) {
  // A hash of the code before and the byte finds the longer string.
  constexpr unsigned slots = 1 << 14;
  std::vector<std::uint32_t> keys(slots, 0xFFFFFFFF);
  std::vector<std::uint16_t> values(slots);
  std::uint8_t* at = out;
  std::uint64_t bits = 0;
  int count = 0, width = 9;
  const auto put = [&](unsigned code) {
    bits = bits << width | code;
    count += width;
    while (count >= 8) {
      count -= 8;
      *at++ = static_cast<std::uint8_t>(bits >> count);
    }
  };
  unsigned next = first_free;
  put(clear_code);
  unsigned string = size > 0 ? in[0] : 0;
  for (std::size_t i = 1; i < size; ++i) {
    const std::uint32_t key = string << 8 | in[i];
    unsigned slot = (key * 2654435761U) >> 18;
    while (keys[slot] != key && keys[slot] != 0xFFFFFFFF) slot = (slot + 1) % slots;
    if (keys[slot] == key) {
      string = values[slot];
      continue;
    }
    put(string);
    keys[slot] = key;
    values[slot] = static_cast<std::uint16_t>(next++);
    if (next == 512 || next == 1024 || next == 2048) {
      ++width;
    } else if (next == most_codes - 1) {
      put(clear_code);
      std::fill(keys.begin(), keys.end(), 0xFFFFFFFF);
      next = first_free;
      width = 9;
    }
    string = in[i];
  }
  if (size > 0) put(string);
  // A reader adds a code for the last string too, so the width of the end code may be one more.
  if (size > 0 && (next + 1 == 512 || next + 1 == 1024 || next + 1 == 2048)) ++width;
  put(end_code);
  if (count > 0) *at++ = static_cast<std::uint8_t>(bits << (8 - count));
  return static_cast<std::size_t>(at - out);
}

}  // namespace img
