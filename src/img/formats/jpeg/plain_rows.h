// The portable form of the rows of JPEG pictures. In an unnamed namespace, since kernel files include this.
#pragma once

#include "img/formats/jpeg/rows.h"

namespace img {
namespace {

// Four times what the chroma of a row is between its two rows, with the first and the last sample once more beside
// them: `sums` points to the first.
inline void jpeg_sums(const uint8_t* __restrict near, const uint8_t* __restrict far, uint16_t* __restrict sums,
                      size_t count) {
  for (size_t i = 0; i < count; ++i) sums[i] = static_cast<uint16_t>(3 * near[i] + far[i]);
  sums[-1] = sums[0];
  sums[count] = sums[count - 1];
}

inline uint8_t jpeg_byte(int value) {
  return static_cast<uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
}

// Pixels `first` to `width` - 1, `first` even. Numbers with 16 bits after the point, rounded as libjpeg does.
inline void jpeg_colours(const uint8_t* luma, const uint16_t* blue, const uint16_t* red, uint8_t* b, uint8_t* g,
                         uint8_t* r, size_t first, size_t width) {
  constexpr int half = 1 << 15;
  for (size_t x = first; x < width; ++x) {
    const size_t i = x / 2;
    const auto chroma = [&](const uint16_t* sums) {
      return (x % 2 == 0 ? 3 * sums[i] + sums[static_cast<ptrdiff_t>(i) - 1] + 8 : 3 * sums[i] + sums[i + 1] + 7) / 16 -
             128;
    };
    const int cb = chroma(blue);
    const int cr = chroma(red);
    b[x] = jpeg_byte(luma[x] + ((116130 * cb + half) >> 16));
    g[x] = jpeg_byte(luma[x] + ((-22554 * cb - 46802 * cr + half) >> 16));
    r[x] = jpeg_byte(luma[x] + ((91881 * cr + half) >> 16));
  }
}

inline void plain_half_chroma(const jpeg_half_chroma_row& row, uint16_t* scratch, uint8_t* b, uint8_t* g, uint8_t* r,
                              size_t width) {
  const size_t count = (width + 1) / 2;
  uint16_t* const blue = scratch + 1;
  uint16_t* const red = blue + count + 2;
  jpeg_sums(row.near_blue, row.far_blue, blue, count);
  jpeg_sums(row.near_red, row.far_red, red, count);
  jpeg_colours(row.luma, blue, red, b, g, r, 0, width);
}

}  // namespace
}  // namespace img
