#include <stddef.h>
#include <stdint.h>

namespace text {
namespace KSN_SIMD_LEVEL {

void cover_rows(uint8_t* const* rows, const uint8_t* values, int count, const uint8_t* coverage, size_t n, int alpha) {
  constexpr size_t block = 64;
  uint16_t weights[block];
  for (size_t first = 0; first < n; first += block) {
    const size_t length = n - first < block ? n - first : block;
    for (size_t i = 0; i < length; ++i) {
      // All products fit into 16 bits without a sign, and of the last one only the low byte above eight bits counts.
      const uint16_t c = coverage[first + i];
      const uint16_t w = (uint16_t)((uint16_t)((c + (c >> 7)) * (uint16_t)alpha) >> 8);
      weights[i] = (uint16_t)(w + (w >> 7));
    }
    for (int plane = 0; plane < count; ++plane) {
      uint8_t* __restrict row = rows[plane] + first;
      const uint16_t value = values[plane];
      for (size_t i = 0; i < length; ++i) {
        const uint16_t d = row[i];
        row[i] = (uint8_t)(d + ((uint16_t)((uint16_t)(value - d) * weights[i]) >> 8));
      }
    }
  }
}

}  // namespace KSN_SIMD_LEVEL
}  // namespace text
