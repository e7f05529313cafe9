// The byte-oriented run-length coding of TIFF, Photoshop and IFF pictures.
#pragma once

#include <cstddef>
#include <cstdint>

namespace img {

// Unpacks up to `room` bytes from `in` to `out` and returns how many came; fewer only when the codes end. `used`, when
// given, takes how many bytes of `in` went into them.
std::size_t unpack_packbits(std::uint8_t* out, std::size_t room, const std::uint8_t* in, std::size_t size,
                            std::size_t* used = nullptr);

// Packs `size` bytes to `out`, which has room for packed_packbits_room(size), and returns how many came.
std::size_t pack_packbits(std::uint8_t* out, const std::uint8_t* in, std::size_t size);
constexpr std::size_t packed_packbits_room(std::size_t size) {
  return size + (size + 127) / 128;
}

}  // namespace img
