#include "img/color_rows.h"

#include "img/color_dispatch.h"

namespace img {
namespace {

void map_bytes(uint8_t* out, const uint8_t* in, const uint8_t* table, size_t count) {
  for (size_t i = 0; i < count; ++i) out[i] = table[in[i]];
}

void map_halves(uint8_t* out, const uint16_t* in, const uint8_t* table, size_t count) {
  for (size_t i = 0; i < count; ++i) out[i] = table[in[i]];
}

void map_words(uint8_t* b, uint8_t* g, uint8_t* r, const uint32_t* words, const uint8_t* table, bool swapped,
               size_t count) {
  for (size_t i = 0; i < count; ++i) {
    const uint32_t word = swapped ? __builtin_bswap32(words[i]) : words[i];
    b[i] = table[word >> 2 & 1023];
    g[i] = table[1024 + (word >> 12 & 1023)];
    r[i] = table[2048 + (word >> 22)];
  }
}

void cube(uint16_t* out, const uint16_t* b, const uint16_t* g, const uint16_t* r, const uint16_t* nodes, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    const uint16_t* corner = nodes + (((r[i] >> 6) * 17 + (g[i] >> 6)) * 17 + (b[i] >> 6)) * 4;
    const uint32_t fr = r[i] & 63, fg = g[i] & 63, fb = b[i] & 63;
    for (int c = 0; c < 3; ++c) {
      uint32_t sum = 1 << 17;
      for (int k = 0; k < 8; ++k) {
        const int kr = k >> 2, kg = k >> 1 & 1, kb = k & 1;
        const uint32_t weight = (kr ? fr : 64 - fr) * (kg ? fg : 64 - fg) * (kb ? fb : 64 - fb);
        sum += weight * corner[((kr * 17 + kg) * 17 + kb) * 4 + c];
      }
      out[4 * i + c] = static_cast<uint16_t>(sum >> 18);
    }
    out[4 * i + 3] = 0;
  }
}

uint8_t held(int v) {
  return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
}

void matrix(uint8_t* b, uint8_t* g, uint8_t* r, const int32_t* m, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    const int blue = b[i], green = g[i], red = r[i];
    r[i] = held((red * m[0] >> 8) + (green * m[1] >> 8) + (blue * m[2] >> 8));
    g[i] = held((red * m[3] >> 8) + (green * m[4] >> 8) + (blue * m[5] >> 8));
    b[i] = held((red * m[6] >> 8) + (green * m[7] >> 8) + (blue * m[8] >> 8));
  }
}

}  // namespace

const color_rows plain_color_rows{map_bytes, map_halves, map_words, cube, matrix};

const color_rows& current_color_rows() {
  return plain_color_rows;
}

}  // namespace img
