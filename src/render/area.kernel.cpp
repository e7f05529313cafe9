#include <stddef.h>
#include <stdint.h>

#include "render/area_span.h"

namespace render {
namespace KSN_SIMD_LEVEL {
namespace {

constexpr size_t block = 128;

void rows(uint16_t* __restrict out, const uint8_t* __restrict rows, size_t stride, size_t n, const area_span* span,
          uint32_t total) {
  const uint32_t factor = (uint32_t)(((uint64_t)16 << 32) / total);
  const size_t inner = (size_t)(span->last - span->first - 1);
  const uint32_t first_weight = span->first_weight;
  const uint32_t last_weight = span->last_weight;
  if (span->last == span->first) {
    for (size_t i = 0; i < n; ++i) out[i] = (uint16_t)(rows[i] * 16);
    return;
  }
  const uint8_t* __restrict last = rows + (inner + 1) * stride;
  for (size_t at = 0; at < n; at += block) {
    const size_t count = n - at < block ? n - at : block;
    uint16_t sums[block] = {0};
    for (size_t k = 1; k <= inner; ++k) {
      const uint8_t* __restrict row = rows + k * stride + at;
      for (size_t i = 0; i < count; ++i) sums[i] = (uint16_t)(sums[i] + row[i]);
    }
    for (size_t i = 0; i < count; ++i) {
      const uint32_t sum = (uint32_t)sums[i] * 4096 + rows[at + i] * first_weight + last[at + i] * last_weight;
      out[at + i] = (uint16_t)(((uint64_t)sum * factor + 0x80000000u) >> 32);
    }
  }
}

void columns(uint8_t* const* out, const uint16_t* const* in, const area_span* spans, size_t n, uint32_t total) {
  const uint64_t factor = ((uint64_t)1 << 36) / total;
  const uint64_t half = (uint64_t)1 << 39;
  uint8_t *o0 = out[0], *o1 = out[1], *o2 = out[2], *o3 = out[3];
  const uint16_t* __restrict i0 = in[0], * __restrict i1 = in[1], * __restrict i2 = in[2], * __restrict i3 = in[3];
  for (size_t x = 0; x < n; ++x) {
    const area_span span = spans[x];
    const int32_t f = span.first, l = span.last;
    uint32_t s0 = 0, s1 = 0, s2 = 0, s3 = 0;
    for (int32_t k = f + 1; k < l; ++k) {
      s0 += i0[k];
      s1 += i1[k];
      s2 += i2[k];
      s3 += i3[k];
    }
    const uint32_t a = span.first_weight, b = span.last_weight;
    s0 = s0 * 4096 + i0[f] * a + i0[l] * b;
    s1 = s1 * 4096 + i1[f] * a + i1[l] * b;
    s2 = s2 * 4096 + i2[f] * a + i2[l] * b;
    s3 = s3 * 4096 + i3[f] * a + i3[l] * b;
    o0[x] = (uint8_t)((s0 * factor + half) >> 40);
    o1[x] = (uint8_t)((s1 * factor + half) >> 40);
    o2[x] = (uint8_t)((s2 * factor + half) >> 40);
    o3[x] = (uint8_t)((s3 * factor + half) >> 40);
  }
}

}  // namespace

extern const area_kernels area_table;
const area_kernels area_table = {rows, columns};

}  // namespace KSN_SIMD_LEVEL
}  // namespace render
