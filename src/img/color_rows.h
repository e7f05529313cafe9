// The loops of colour conversion that run over every sample, built once for each instruction set. Plain declarations
// only: kernel files include this.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace img {

// Tables of the three channels, blue, green, red. Channels with equal settings share one, which keeps it in the cache.
struct channel_bytes {
  const uint8_t* of[3];
};

// No operation reads or writes past `count` samples, and nothing needs alignment.
struct color_kernels {
  // out[i] = table[in[i]] with 256 entries; `out` may be `in`.
  void (*map_bytes)(uint8_t* out, const uint8_t* in, const uint8_t* table, size_t count);
  // out[i] = table[in[i]] with 65536 entries.
  void (*map_halves)(uint8_t* out, const uint16_t* in, const uint8_t* table, size_t count);
  // Red (bits 22-31), green (12-21) and blue (2-11) of packed words through tables of 1024 entries. `swapped`: the
  // words have the other byte order.
  void (*map_words)(uint8_t* b, uint8_t* g, uint8_t* r, const uint32_t* words, const channel_bytes& tables,
                    bool swapped, size_t count);
  // The values of cube nodes, four a sample (blue, green, red, unused), through tables of 16384 entries.
  void (*map_nodes)(uint8_t* b, uint8_t* g, uint8_t* r, const uint16_t* nodes, const channel_bytes& tables,
                    size_t count);
  // rint(in[i] * 1023 / 255)
  void (*widen_bytes)(uint16_t* out, const uint8_t* in, size_t count);
  // Trilinear interpolation in a cube of 2 to 129 points a side, nodes of four values blue, green, red, unused, blue
  // nodes adjacent. `b`, `g`, `r` are 0 to 1023: with x = v * (points - 1) the cell is x >> 10, the weight
  // (x & 1023) / 1024. The sum of the eight nodes is exact and rounded once to nearest, halves up. `out` gets four
  // values a sample, the fourth without meaning.
  void (*cube)(uint16_t* out, const uint16_t* b, const uint16_t* g, const uint16_t* r, const uint16_t* nodes,
               int points, size_t count);
  // The 3 x 3 matrix `m` (rows and columns red, green, blue, in 1/256) in place: each product is shifted right by 8,
  // the three are added and held to 0 to 255. No |m| may exceed matrix_limit, except in the portable form.
  void (*matrix)(uint8_t* b, uint8_t* g, uint8_t* r, const int32_t* m, size_t count);
};

// The largest entry with which three products shifted right by 8 and their sums stay within 16 bits.
enum { matrix_limit = 10880 };

// For current_simd_level(), with the extensions of this processor beyond the level.
const color_kernels& active_color_kernels();
// The same without those extensions, as a processor that has just the level takes.
const color_kernels& level_color_kernels();
// The portable forms that the others are held against.
const color_kernels& plain_color_kernels();

}  // namespace img
