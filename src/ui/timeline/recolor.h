// The row function behind marks and holes, built for each instruction set. Every level gives the same bytes.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace ui {

// Samples whose code is one of `wanted` become the value at the same place of `values`, three of each; others stay.
void recolor(uint8_t* row, const uint8_t* codes, size_t count, const uint8_t* wanted, const uint8_t* values);
// The meaning of it, one sample at a time.
void plain_recolor(uint8_t* row, const uint8_t* codes, size_t count, const uint8_t* wanted, const uint8_t* values);

}  // namespace ui
