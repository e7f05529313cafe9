// A stretch of a file in memory that is taken from front to end.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "img/formats/shared/byte_order.h"
#include "img/formats/shared/source_file.h"
#include "img/plane.h"
#include "io/exceptions.h"

namespace img {

// Views bytes that others own. Every step past the end throws io::eof_error(path).
class byte_cursor {
 public:
  byte_cursor(const std::uint8_t* begin, std::size_t size, std::string path)
      : at_(begin), end_(begin + size), path_(std::move(path)) {}

  std::size_t left() const { return static_cast<std::size_t>(end_ - at_); }
  // The next `count` bytes, which it moves past.
  const std::uint8_t* take(std::size_t count) {
    if (count > left()) throw io::eof_error(path_);
    const std::uint8_t* taken = at_;
    at_ += count;
    return taken;
  }
  // The next bytes without moving; may be fewer than asked for.
  std::string_view peek(std::size_t count) const {
    return {reinterpret_cast<const char*>(at_), std::min(count, left())};
  }
  std::uint8_t u8() { return *take(1); }
  std::uint16_t be_u16() { return be16(take(2)); }
  std::uint32_t be_u32() { return be32(take(4)); }
  std::uint16_t le_u16() { return le16(take(2)); }
  std::uint32_t le_u32() { return le32(take(4)); }
  // A part of its own, which it moves past.
  byte_cursor part(std::size_t count) { return {take(count), count, path_}; }

 private:
  const std::uint8_t* at_;
  const std::uint8_t* end_;
  std::string path_;
};

// The bytes of a file from `offset` on, at most `most` of them: what a picture of known size can use at all.
class file_bytes {
 public:
  file_bytes(const source_file& file, std::int64_t offset, std::int64_t most) : path_(file.path()) {
    const std::int64_t there = std::clamp<std::int64_t>(file.size() - offset, 0, most);
    bytes_ = plane(static_cast<std::size_t>(there));
    if (there > 0) file.read(bytes_.data(), bytes_.size(), offset);
  }
  byte_cursor cursor() const { return {bytes_.data(), bytes_.size(), path_}; }
  const std::uint8_t* data() const { return bytes_.data(); }
  std::size_t size() const { return bytes_.size(); }

 private:
  std::string path_;
  plane bytes_;
};

}  // namespace img
