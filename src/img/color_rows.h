// The loops of colour conversion that run over every sample. Only plain declarations, since kernel files include it.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace img {

// One set of loops, all of the same results. Pointers need no alignment; nothing is read or written past `count`.
struct color_rows {
  // out[i] = table[in[i]] with 256 entries; `out` may be `in`.
  void (*map_bytes)(uint8_t* out, const uint8_t* in, const uint8_t* table, size_t count);
  // out[i] = table[in[i]] with 65536 entries.
  void (*map_halves)(uint8_t* out, const uint16_t* in, const uint8_t* table, size_t count);
  // Red (bits 22-31), green (12-21) and blue (2-11) of packed words through the blocks of `table`: 1024 entries each
  // for blue, green, red. `swapped`: the words have the other byte order.
  void (*map_words)(uint8_t* b, uint8_t* g, uint8_t* r, const uint32_t* words, const uint8_t* table, bool swapped,
                    size_t count);
  // Trilinear interpolation in a cube of 17 points a side, nodes of four values blue, green, red, unused, blue nodes
  // adjacent. `b`, `g`, `r` are 0 to 1023: the cell is v >> 6, the weight (v & 63) / 64. The sum of the eight nodes is
  // exact and rounded once to nearest, halves up. `out` gets four values a sample, the fourth without meaning.
  void (*cube)(uint16_t* out, const uint16_t* b, const uint16_t* g, const uint16_t* r, const uint16_t* nodes,
               size_t count);
  // The 3 x 3 matrix `m` (rows and columns red, green, blue, in 1/256) in place: each product is shifted right by 8,
  // the three are added and held to 0 to 255. No |m| may exceed matrix_limit.
  void (*matrix)(uint8_t* b, uint8_t* g, uint8_t* r, const int32_t* m, size_t count);
};

// The largest entry with which three products shifted right by 8 and their sums stay within 16 bits.
enum { matrix_limit = 10880 };

// Scalar loops, one sample at a time: the meaning of the others.
extern const color_rows plain_color_rows;

}  // namespace img
