// Row functions of painting, for each instruction set; C headers only, for the kernels. Every level gives the same
// bits.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace render {

struct brush_color_row {
  uint8_t b, g, r, a;
  const uint32_t* reciprocals;  // [256], 65536 / i rounded; 0 for 0
};

struct brush_kernels {
  // Source-over with straight alpha: the colour with coverage[i] times its alpha over each sample.
  void (*paint)(uint8_t* b, uint8_t* g, uint8_t* r, uint8_t* a, const uint8_t* coverage, size_t n,
                const brush_color_row* color);
  // a = a - a * coverage * alpha
  void (*erase)(uint8_t* a, const uint8_t* coverage, size_t n, uint8_t alpha);
};

// The kernels of img::current_simd_level().
const brush_kernels& brush_rows();

}  // namespace render
