// Numbers in the byte orders of files.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace img {

static_assert(std::endian::native == std::endian::little);

inline std::uint16_t le16(const void* at) {
  std::uint16_t value;
  std::memcpy(&value, at, 2);
  return value;
}
inline std::uint32_t le32(const void* at) {
  std::uint32_t value;
  std::memcpy(&value, at, 4);
  return value;
}
inline std::uint64_t le64(const void* at) {
  std::uint64_t value;
  std::memcpy(&value, at, 8);
  return value;
}
inline std::uint16_t be16(const void* at) {
  return __builtin_bswap16(le16(at));
}
inline std::uint32_t be32(const void* at) {
  return __builtin_bswap32(le32(at));
}
inline std::uint64_t be64(const void* at) {
  return __builtin_bswap64(le64(at));
}

}  // namespace img
