#include "sources/words.h"

#include <cmath>

#include "img/at_level.h"

namespace sources {

KSN_DECLARE_LEVELS(void narrow_words(const uint16_t* from, uint8_t* to, int width, uint32_t weight))

uint32_t make_word_weight(int bits) {
  // 255 in the upper 8 bits and the half that rounds still fit.
  return static_cast<uint32_t>(std::llrint(std::ldexp(255.0, 24) / ((1 << bits) - 1)));
}

void narrow_words(const uint16_t* from, uint8_t* to, int width, uint32_t weight) {
  KSN_AT_LEVEL(narrow_words)(from, to, width, weight);
}

void narrow_words_plainly(const uint16_t* from, uint8_t* to, int width, uint32_t weight) {
  for (int x = 0; x < width; ++x) to[x] = static_cast<uint8_t>((from[x] * weight + (1u << 23)) >> 24);
}

}  // namespace sources
