// Rows of luma and chroma samples to blue, green and red bytes.
#pragma once

#include <stdint.h>

namespace media {

// Weights of one matrix and range for samples of one depth (ITU-T H.273 matrix coefficients), scaled so that a sum
// shifted right by `shift` is a byte.
struct yuv_weights {
  int luma_zero;
  int chroma_zero;
  int luma;
  int red_v;
  int green_u;  // subtracted
  int green_v;  // subtracted
  int blue_u;
  int shift;
};

// One row of `width` pixels from samples of `bytes` (1 or 2, host order) each; `half` says that two pixels share a
// chroma sample. The targets may not overlap the sources; nothing is written past the width.
struct yuv_row {
  const void* y;
  const void* u;
  const void* v;
  int bytes;
  int half;
  uint8_t* b;
  uint8_t* g;
  uint8_t* r;
  int width;
};

using yuv_row_function = void (*)(const yuv_row& row, const yuv_weights& weights);

namespace baseline {
void convert_yuv_row(const yuv_row& row, const yuv_weights& weights);
}
namespace v3 {
void convert_yuv_row(const yuv_row& row, const yuv_weights& weights);
}
namespace v4 {
void convert_yuv_row(const yuv_row& row, const yuv_weights& weights);
}

}  // namespace media
