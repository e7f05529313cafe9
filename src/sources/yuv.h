// Rows of luma and chroma samples to blue, green and red bytes.
#pragma once

#include <stdint.h>

namespace sources {

// A matrix and range for samples of one depth (ITU-T H.273 matrix coefficients), scaled so that a sum shifted right by
// `shift` and clamped is a byte: blue = (y * luma + u * blue_u + blue_bias) >> shift and so on. The biases hold the
// zero levels of luma and chroma and the half that rounds. With samples of 8 bits u and v count in quarters, since what
// is mixed of several samples falls between them.
struct yuv_weights {
  int luma;
  int blue_u;
  int green_u;
  int green_v;
  int red_v;
  int blue_bias;
  int green_bias;
  int red_bias;
  int shift;
};

// Where chroma samples lie along a row: on each pixel, on the left one of two, or between two.
enum chroma_across { chroma_on_each, chroma_on_left, chroma_between };

// The weights for samples of 8 to 14 `bits`. `red` and `blue` are the parts of these primaries in luma (Kr and Kb);
// `full` says that samples use their whole range.
yuv_weights make_yuv_weights(double red, double blue, bool full, int bits);

// One row of `width` pixels from samples of `bytes` (1, or 2 with 14 bits at most, host order) each. Chroma between
// two samples is their mix by distance; before the first and after the last it is that one's. The targets may not
// overlap the sources; nothing is read or written past the width.
struct yuv_row {
  const void* y;
  const void* u;  // of the chroma row that lies nearest
  const void* v;
  const void* far_u;  // of the one on the other side of the pixels, read only where it counts
  const void* far_v;
  int far;    // the part of that one, in quarters: 0 to 2
  int bytes;  // of a sample
  chroma_across across;
  uint8_t* b;
  uint8_t* g;
  uint8_t* r;
  int width;
};

using yuv_row_function = void (*)(const yuv_row& row, const yuv_weights& weights);

// The row for the instruction set in use.
yuv_row_function active_yuv_row();

// The same, pixel by pixel.
void convert_yuv_row_plainly(const yuv_row& row, const yuv_weights& weights);

}  // namespace sources
