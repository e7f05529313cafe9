// Rows of samples of more than 8 bits to bytes.
#pragma once

#include <stdint.h>

namespace sources {

// The weight for samples of 9 to 16 `bits`: a sample times it is the byte in the upper 8 of 32 bits.
uint32_t make_word_weight(int bits);

// Samples in host order to the nearest bytes. The target may not overlap the source; nothing is written past the width.
void narrow_words(const uint16_t* from, uint8_t* to, int width, uint32_t weight);

// The same, one by one.
void narrow_words_plainly(const uint16_t* from, uint8_t* to, int width, uint32_t weight);

}  // namespace sources
