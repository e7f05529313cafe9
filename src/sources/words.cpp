#include "sources/words.h"

#include <cmath>

#include "img/simd_level.h"

namespace sources {

uint32_t make_word_weight(int bits) {
  // 255 in the upper 8 bits and the half that rounds still fit.
  return static_cast<uint32_t>(std::llrint(std::ldexp(255.0, 24) / ((1 << bits) - 1)));
}

void narrow_words(const uint16_t* from, uint8_t* to, int width, uint32_t weight) {
#if defined(KSN_X86_LEVELS)
  switch (img::current_simd_level()) {
    case img::simd_level::v4:
      return v4::narrow_words(from, to, width, weight);
    case img::simd_level::v3:
      return v3::narrow_words(from, to, width, weight);
    case img::simd_level::baseline:
      break;
  }
#endif
  baseline::narrow_words(from, to, width, weight);
}

void narrow_words_plainly(const uint16_t* from, uint8_t* to, int width, uint32_t weight) {
  for (int x = 0; x < width; ++x) to[x] = static_cast<uint8_t>((from[x] * weight + (1u << 23)) >> 24);
}

}  // namespace sources
