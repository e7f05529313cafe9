// The row function behind drawn text, built for each instruction set. Every level gives the same bytes.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace text {

// Mixes values[i] into `n` samples of rows[i], for `count` rows, by coverage times `alpha`, both 0 to 255: w = (c + (c
// >> 7)) * alpha >> 8 for coverage c, w grows by w >> 7, and the sample d becomes d + ((value - d) * w >> 8).
void cover_rows(uint8_t* const* rows, const uint8_t* values, int count, const uint8_t* coverage, size_t n, int alpha);
// The meaning of it, one sample of one row at a time.
void plain_cover_row(uint8_t* row, const uint8_t* coverage, size_t n, int value, int alpha);

}  // namespace text
