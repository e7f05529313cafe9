#include "sources/words.h"

namespace sources {
namespace KSN_SIMD_LEVEL {

void narrow_words(const uint16_t* __restrict from, uint8_t* __restrict to, int width, uint32_t weight) {
  for (int x = 0; x < width; ++x) to[x] = static_cast<uint8_t>((from[x] * weight + (1u << 23)) >> 24);
}

}  // namespace KSN_SIMD_LEVEL
}  // namespace sources
