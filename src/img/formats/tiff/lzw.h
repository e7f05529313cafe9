// The LZW coding of TIFF 6.0, section 13.
#pragma once

#include <cstddef>
#include <cstdint>

namespace img {

// Unpacks up to `room` bytes to `out` and returns how many came; fewer only when the codes end or make no sense.
std::size_t unpack_lzw(std::uint8_t* out, std::size_t room, const std::uint8_t* in, std::size_t size);

// Packs `size` bytes to `out`, which has room for packed_lzw_room(size), and returns how many came.
std::size_t pack_lzw(std::uint8_t* out, const std::uint8_t* in, std::size_t size);
constexpr std::size_t packed_lzw_room(std::size_t size) {
  return size * 3 / 2 + 16;  // codes of 12 bits at most, one for each byte, and one to clear for each 3838
}

}  // namespace img
