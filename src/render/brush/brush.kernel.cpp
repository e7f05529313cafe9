#include <stddef.h>
#include <stdint.h>

#include "render/brush/rows.h"

namespace render {
namespace KSN_SIMD_LEVEL {
namespace {

// x * y / 255, rounded.
inline uint32_t product(uint32_t x, uint32_t y) {
  const uint32_t t = x * y + 128;
  return (t + (t >> 8)) >> 8;
}

inline uint8_t mixed(uint8_t from, uint8_t to, uint32_t weight) {
  const int32_t step = ((int32_t)to - (int32_t)from) * (int32_t)weight + 32768;
  return (uint8_t)(from + (step >> 16));
}

void paint(uint8_t* __restrict b, uint8_t* __restrict g, uint8_t* __restrict r, uint8_t* __restrict a,
           const uint8_t* __restrict coverage, size_t n, const brush_color_row* color) {
  const brush_color_row c = *color;
  for (size_t i = 0; i < n; ++i) {
    const uint32_t own = product(coverage[i], c.a);
    const uint32_t all = own + a[i] - product(own, a[i]);
    const uint32_t weight = own * c.reciprocals[all];
    b[i] = mixed(b[i], c.b, weight);
    g[i] = mixed(g[i], c.g, weight);
    r[i] = mixed(r[i], c.r, weight);
    a[i] = (uint8_t)all;
  }
}

void erase(uint8_t* __restrict a, const uint8_t* __restrict coverage, size_t n, uint8_t alpha) {
  for (size_t i = 0; i < n; ++i) a[i] = (uint8_t)(a[i] - product(product(coverage[i], alpha), a[i]));
}

}  // namespace

extern const brush_kernels brush_table;
const brush_kernels brush_table = {paint, erase};

}  // namespace KSN_SIMD_LEVEL
}  // namespace render
