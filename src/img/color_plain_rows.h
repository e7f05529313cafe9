// The portable loops of color_kernels, one sample at a time. Every file that includes this has its own copies.
#pragma once

#include "img/color_rows.h"

namespace img {
namespace {

inline void plain_map_bytes(uint8_t* out, const uint8_t* in, const uint8_t* table, size_t count) {
  for (size_t i = 0; i < count; ++i) out[i] = table[in[i]];
}

inline void plain_map_halves(uint8_t* out, const uint16_t* in, const uint8_t* table, size_t count) {
  for (size_t i = 0; i < count; ++i) out[i] = table[in[i]];
}

inline void plain_map_words(uint8_t* b, uint8_t* g, uint8_t* r, const uint32_t* words, const channel_bytes& tables,
                            bool swapped, size_t count) {
  const uint8_t *blue = tables.of[0], *green = tables.of[1], *red = tables.of[2];
  for (size_t i = 0; i < count; ++i) {
    const uint32_t word = swapped ? __builtin_bswap32(words[i]) : words[i];
    b[i] = blue[word >> 2 & 1023];
    g[i] = green[word >> 12 & 1023];
    r[i] = red[word >> 22];
  }
}

inline void plain_map_nodes(uint8_t* b, uint8_t* g, uint8_t* r, const uint16_t* nodes, const channel_bytes& tables,
                            size_t count) {
  const uint8_t *blue = tables.of[0], *green = tables.of[1], *red = tables.of[2];
  for (size_t i = 0; i < count; ++i) {
    b[i] = blue[nodes[4 * i]];
    g[i] = green[nodes[4 * i + 1]];
    r[i] = red[nodes[4 * i + 2]];
  }
}

inline void plain_widen_bytes(uint16_t* out, const uint8_t* in, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    const int v = in[i];
    // 1023 / 255 is 4 and 3 / 255, and no product ends in a half.
    out[i] = static_cast<uint16_t>(4 * v + (v >= 43) + (v >= 128) + (v >= 213));
  }
}

inline void plain_cube(uint16_t* out, const uint16_t* b, const uint16_t* g, const uint16_t* r, const uint16_t* nodes,
                       int points, size_t count) {
  const size_t n = static_cast<size_t>(points);
  const uint32_t cells = static_cast<uint32_t>(points - 1);
  const size_t step[3] = {n * n * 4, n * 4, 4};  // to the next node in red, green, blue
  for (size_t i = 0; i < count; ++i) {
    const uint32_t x[3] = {r[i] * cells, g[i] * cells, b[i] * cells};
    const uint16_t* corner = nodes + (x[0] >> 10) * step[0] + (x[1] >> 10) * step[1] + (x[2] >> 10) * step[2];
    const uint64_t fr = x[0] & 1023, fg = x[1] & 1023, fb = x[2] & 1023;
    uint64_t sum[3] = {1 << 29, 1 << 29, 1 << 29};
    for (int k = 0; k < 8; ++k) {
      const int kr = k >> 2, kg = k >> 1 & 1, kb = k & 1;
      const uint64_t weight = (kr ? fr : 1024 - fr) * (kg ? fg : 1024 - fg) * (kb ? fb : 1024 - fb);
      const uint16_t* node = corner + (kr ? step[0] : 0) + (kg ? step[1] : 0) + (kb ? step[2] : 0);
      for (int c = 0; c < 3; ++c) sum[c] += weight * node[c];
    }
    for (int c = 0; c < 3; ++c) out[4 * i + c] = static_cast<uint16_t>(sum[c] >> 30);
    out[4 * i + 3] = 0;
  }
}

inline uint8_t held_to_byte(int v) {
  return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
}

inline void plain_matrix(uint8_t* b, uint8_t* g, uint8_t* r, const int32_t* m, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    const int blue = b[i], green = g[i], red = r[i];
    r[i] = held_to_byte((red * m[0] >> 8) + (green * m[1] >> 8) + (blue * m[2] >> 8));
    g[i] = held_to_byte((red * m[3] >> 8) + (green * m[4] >> 8) + (blue * m[5] >> 8));
    b[i] = held_to_byte((red * m[6] >> 8) + (green * m[7] >> 8) + (blue * m[8] >> 8));
  }
}

}  // namespace
}  // namespace img
