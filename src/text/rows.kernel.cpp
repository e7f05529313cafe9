#include <stddef.h>
#include <stdint.h>

namespace text {
namespace KSN_SIMD_LEVEL {

void cover_row(uint8_t* __restrict row, const uint8_t* __restrict coverage, size_t n, int value, int alpha) {
  for (size_t i = 0; i < n; ++i) {
    // All products fit into 16 bits without a sign, and of the last one only the low byte above eight bits counts.
    const uint16_t c = coverage[i];
    uint16_t w = (uint16_t)((uint16_t)((c + (c >> 7)) * (uint16_t)alpha) >> 8);
    w = (uint16_t)(w + (w >> 7));
    const uint16_t d = row[i];
    row[i] = (uint8_t)(d + ((uint16_t)(((uint16_t)value - d) * w) >> 8));
  }
}

}  // namespace KSN_SIMD_LEVEL
}  // namespace text
