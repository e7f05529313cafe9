// What the row functions of the area average work on. Kept to C headers, for the kernels.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace render {

// What one target sample covers: whole samples between `first` and `last`, of these two a part. Weights are 4096ths of
// a sample; where `first` is `last`, it is all and `last_weight` is 0.
struct area_span {
  int32_t first;
  int32_t last;
  uint16_t first_weight;
  uint16_t last_weight;
};

struct area_kernels {
  // out = average of the rows of a span, in 16ths of a level. `rows` is the row of `first`, `stride` the way to the
  // next; `total` the sum of weights.
  void (*rows)(uint16_t* out, const uint8_t* rows, size_t stride, size_t n, const area_span* span, uint32_t total);
  // out[i] = average of span i, rounded to a level, for four rows at once.
  void (*columns)(uint8_t* const* out, const uint16_t* const* in, const area_span* spans, size_t n, uint32_t total);
};

// The kernels of img::current_simd_level(). Every level gives the same bits.
const area_kernels& area_rows();

}  // namespace render
