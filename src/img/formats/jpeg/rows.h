// Rows of JPEG pictures, built once for each instruction set. Plain declarations only: the kernel file includes this.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace img {

// One row of luma, and the rows of chroma of half width and height that it lies between.
struct jpeg_half_chroma_row {
  const uint8_t* luma;
  const uint8_t* near_blue;
  const uint8_t* far_blue;
  const uint8_t* near_red;
  const uint8_t* far_red;
};

// Samples of uint16_t that `scratch` of a row of that width must have.
constexpr size_t jpeg_scratch(size_t width) {
  return 2 * ((width + 1) / 2 + 2);
}

// A row of `width` pixels as colours. Chroma counts three quarters from the nearer row or column and a quarter from the
// farther one, as libjpeg's "fancy upsampling" has it, to the bit; colours follow JFIF (ITU-T T.871, section 7).
// Nothing needs alignment and nothing is written past `width`.
using jpeg_half_chroma = void (*)(const jpeg_half_chroma_row& row, uint16_t* scratch, uint8_t* b, uint8_t* g,
                                  uint8_t* r, size_t width);

// For current_simd_level().
jpeg_half_chroma active_jpeg_half_chroma();
// The portable form that the others are held against.
jpeg_half_chroma plain_jpeg_half_chroma();

}  // namespace img
