// The block codings of textures: 4 x 4 pixels in 8 or 16 bytes (Khronos Data Format Specification, chapters on S3TC,
// RGTC and BPTC; Microsoft calls them BC1 to BC7).
#pragma once

#include <array>
#include <cstdint>

namespace img {

// Sixteen pixels, row by row: red, green, blue, alpha.
using byte_block = std::array<std::array<std::uint8_t, 4>, 16>;
using half_block = std::array<std::array<std::uint16_t, 3>, 16>;

void decode_bc1(const std::uint8_t* bytes, byte_block& out);
void decode_bc2(const std::uint8_t* bytes, byte_block& out);
void decode_bc3(const std::uint8_t* bytes, byte_block& out);
// One channel, repeated in red, green and blue; with `is_signed`, -1 to 1 becomes 0 to 255.
void decode_bc4(const std::uint8_t* bytes, bool is_signed, byte_block& out);
// Red and green; blue is 0.
void decode_bc5(const std::uint8_t* bytes, bool is_signed, byte_block& out);
// Bits of halves.
void decode_bc6h(const std::uint8_t* bytes, bool is_signed, half_block& out);
void decode_bc7(const std::uint8_t* bytes, byte_block& out);

}  // namespace img
