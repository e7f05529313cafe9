#include <stddef.h>
#include <stdint.h>

#include "render/plane_kernels.h"

namespace render {
namespace KSN_SIMD_LEVEL {
namespace {

void luminance(uint8_t* __restrict out, const uint8_t* __restrict b, const uint8_t* __restrict g,
               const uint8_t* __restrict r, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    const uint16_t sum = (uint16_t)(54 * r[i] + 183 * g[i] + 19 * b[i]);
    out[i] = (uint8_t)(sum >> 8);
  }
}

inline int16_t distance(uint8_t x, uint8_t y) {
  return (int16_t)(x > y ? x - y : y - x);
}

// All numbers stay within 16 bits, which gives the widest vectors.
inline uint8_t alpha_of(uint8_t b, uint8_t g, uint8_t r, const key_row& key, int16_t sign, int16_t most) {
  int16_t x = (int16_t)(distance(r, key.r) + distance(g, key.g) + distance(b, key.b) - key.tolerance);
  x = (int16_t)(x * sign);
  x = x < 0 ? (int16_t)0 : x;
  x = x > most ? most : x;
  const uint16_t v = (uint16_t)((uint16_t)((uint16_t)x * key.slope) >> 1);
  return (uint8_t)(v > 255 ? 255 : v);
}

void key(uint8_t* __restrict a, const uint8_t* __restrict b, const uint8_t* __restrict g, const uint8_t* __restrict r,
         size_t n, const key_row* numbers, bool lesser) {
  const key_row k = *numbers;
  const int16_t sign = k.reversed ? -1 : 1;
  const int16_t most = (int16_t)k.most;
  if (lesser) {
    for (size_t i = 0; i < n; ++i) {
      const uint8_t value = alpha_of(b[i], g[i], r[i], k, sign, most);
      a[i] = value < a[i] ? value : a[i];
    }
  } else {
    for (size_t i = 0; i < n; ++i) a[i] = alpha_of(b[i], g[i], r[i], k, sign, most);
  }
}

void invert(uint8_t* out, const uint8_t* in, size_t n) {
  for (size_t i = 0; i < n; ++i) out[i] = (uint8_t)(255 - in[i]);
}

inline uint8_t bulk_mul(uint16_t x, uint16_t y) {
  return (uint8_t)((uint16_t)((x + (x >> 7)) * y) >> 8);
}

inline uint8_t tail_mul(unsigned x, unsigned y) {
  return (uint8_t)(x * y / 255);
}

void multiply(uint8_t* __restrict a, const uint8_t* __restrict own, size_t n) {
  const size_t bulk = n & ~(size_t)7;
  for (size_t i = 0; i < bulk; ++i) a[i] = bulk_mul(own[i], a[i]);
  for (size_t i = bulk; i < n; ++i) a[i] = tail_mul(own[i], a[i]);
}

void screen(uint8_t* __restrict a, const uint8_t* __restrict own, size_t n) {
  const size_t bulk = n & ~(size_t)7;
  for (size_t i = 0; i < bulk; ++i) {
    a[i] = (uint8_t)(255 - bulk_mul((uint16_t)(255 - own[i]), (uint16_t)(255 - a[i])));
  }
  for (size_t i = bulk; i < n; ++i) a[i] = (uint8_t)(255 - tail_mul(255u - own[i], 255u - a[i]));
}

void lerp(uint8_t* out, const uint8_t* from, const uint8_t* to, size_t n, int weight) {
  for (size_t i = 0; i < n; ++i) out[i] = (uint8_t)(((from[i] - to[i]) * weight >> 8) + to[i]);
}

void interleave(uint8_t* __restrict out, const uint8_t* __restrict in, size_t n, int first) {
  const uint8_t keep_even = first ? 0xff : 0;
  const uint8_t keep_odd = (uint8_t)~keep_even;
  size_t i = 0;
  for (; i + 1 < n; i += 2) {
    out[i] = (uint8_t)((out[i] & keep_even) | (in[i] & ~keep_even));
    out[i + 1] = (uint8_t)((out[i + 1] & keep_odd) | (in[i + 1] & ~keep_odd));
  }
  if (i < n && !first) out[i] = in[i];
}

void checker(uint8_t* __restrict d, const uint8_t* __restrict a, size_t n, int phase, uint8_t first, uint8_t second) {
  for (size_t i = 0; i < n;) {
    const size_t square = ((size_t)phase + i) >> 3;
    size_t end = ((square + 1) << 3) - (size_t)phase;
    if (end > n) end = n;
    const unsigned gray = square & 1 ? second : first;
    for (; i < end; ++i) {
      const unsigned sum = d[i] + gray * (255u - a[i]) / 255u;
      d[i] = (uint8_t)(sum > 255 ? 255 : sum);
    }
  }
}

}  // namespace

extern const plane_kernels plane_table;
const plane_kernels plane_table = {luminance, key, invert, multiply, screen, lerp, interleave, checker};

}  // namespace KSN_SIMD_LEVEL
}  // namespace render
