// Run-length packets of Targa files, built once for each instruction set. Plain declarations only.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace img {

// Where a reader stands in a stream of packets. A packet may cross row ends and the ends of what is in memory.
struct tga_packets {
  const uint8_t* position;
  const uint8_t* end;  // of the data in memory; tga_read_ahead bytes after it must be readable
  int left;            // pixels of the present packet that are still to come
  bool literal;        // each of them is stored, instead of one for all
  uint8_t pixel[4];    // of a run
};

constexpr size_t tga_read_ahead = 64;
constexpr size_t tga_write_ahead = 16;

struct tga_kernels {
  // Unpacks up to `count` pixels of 1 to 4 bytes into the planes (one for 1 byte; three for 2 bytes, which are words
  // of 5 bits a colour, and 3; four for 4) and returns how many the data in memory gave. Writes only those.
  size_t (*unpack[5])(tga_packets* packets, uint8_t* const* planes, size_t count);
  // Sets bit i of `bits` (bit i % 64 of word i / 64) where pixel i equals pixel i + 1 in all planes, and clears it
  // elsewhere, for 0 to `count` - 1. The last pixel equals none. Writes (count + 63) / 64 words.
  void (*equal_neighbours)(const uint8_t* const* planes, int plane_count, size_t count, uint64_t* bits);
};

// For current_simd_level().
const tga_kernels& active_tga_kernels();

// Packs one row of interleaved pixels of `bytes` each, with its equal_neighbours(). Returns the size of the packets.
// `out` must hold count * (bytes + 1) + tga_write_ahead bytes, and `pixels` be readable for tga_write_ahead after its
// end.
size_t tga_pack_row(const uint8_t* pixels, int bytes, size_t count, const uint64_t* bits, uint8_t* out);

}  // namespace img
