#include <stddef.h>
#include <stdint.h>

namespace ui {
namespace KSN_SIMD_LEVEL {

void mix_row(uint8_t* row, size_t count, int value, int weight) {
  const uint16_t rest = (uint16_t)(255 - weight);
  const uint16_t part = (uint16_t)(value * weight + 127);
  for (size_t i = 0; i < count; ++i) {
    // At most 255 * 255 + 127, for which the quotient by 255 is exact.
    const uint16_t sum = (uint16_t)(row[i] * rest + part);
    row[i] = (uint8_t)((uint16_t)(sum + (sum >> 8) + 1) >> 8);
  }
}

}  // namespace KSN_SIMD_LEVEL
}  // namespace ui
