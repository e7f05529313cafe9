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
        // As many whole bytes as fit; bits of a further one that come along are the same when they come again.
        bits_ |= be64(at_) >> count_;
        at_ += (63 - count_) >> 3;
        count_ |= 56;
      } else {
        for (; count_ <= 56 && at_ < end_; count_ += 8) bits_ |= std::uint64_t{*at_++} << (56 - count_);
        if (count_ < width) return end_code;
      }
    }
    const auto code = static_cast<unsigned>(bits_ >> (64 - width));
    bits_ <<= width;
    count_ -= width;
    return code;
  }

 private:
  const std::uint8_t* at_;
  const std::uint8_t* end_;
  std::uint64_t bits_ = 0;  // the next one highest
  int count_ = 0;
};

// Strings are copied in blocks of this size, the last of which goes beyond their end.
constexpr std::size_t block = 16;

// Every byte as a string of one.
constexpr auto single_bytes = [] {
  std::array<std::uint8_t, 256 + block> bytes{};
  for (std::size_t i = 0; i < 256; ++i) bytes[i] = static_cast<std::uint8_t>(i);
  return bytes;
}();

struct string {
  const std::uint8_t* at;
  std::size_t length;
};

}  // namespace

// A code that was added stands for the string of the code before it and one byte more, and both lie one after the other
// in the output already: a place and a length are all that is kept.
std::size_t unpack_lzw(std::uint8_t* out, std::size_t room, const std::uint8_t* in, std::size_t size) {
  std::array<string, most_codes> strings;
  for (std::size_t i = 0; i < clear_code; ++i) strings[i] = {single_bytes.data() + i, 1};
  code_reader codes(in, size);
  std::uint8_t* target = out;
  std::uint8_t* const end = out + room;
  unsigned next = first_free;
  unsigned change = 511;  // the width changes one code early
  int width = 9;
  string before{nullptr, 0};  // as it stands in the output; none since the last clearing
  while (target < end) {
    const unsigned code = codes.next(width);
    string from;
    if (code < next && code != clear_code && code != end_code) {
      from = strings[code];
    } else if (code == clear_code) {
      next = first_free;
      change = 511;
      width = 9;
      before.length = 0;
      continue;
    } else if (code == next && before.length > 0) {
      // The string that is about to be added: the one before and its first byte again.
      from = {before.at, before.length + 1};
    } else {
      break;
    }
    const auto left = static_cast<std::size_t>(end - target);
    if (left >= from.length + block) {
      for (std::size_t i = 0; i < from.length; i += block) {
        std::uint8_t bytes[block];  // since the end of the string may be the byte before the target
        std::memcpy(bytes, from.at + i, block);
        std::memcpy(target + i, bytes, block);
      }
      if (code == next) target[from.length - 1] = *from.at;
    } else {
      from.length = std::min(from.length, left);
      for (std::size_t i = 0; i < from.length; ++i) target[i] = from.at[i];
    }
    if (before.length > 0) {
      if (next >= most_codes) break;
      strings[next++] = {before.at, before.length + 1};
      if (next == change) {
        if (width < 12) ++width;
        change = 2 * change + 1;
      }
    }
    before = {target, from.length};
    target += from.length;
  }
  return static_cast<std::size_t>(target - out);
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
