// The row function behind fills that let the ground through, built for each instruction set. Every level gives the same
// bytes.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace ui {

// Each sample d becomes (d * (255 - weight) + value * weight) / 255, rounded to nearest; all within 0 to 255.
void mix_row(uint8_t* row, size_t count, int value, int weight);
// The meaning of it, one sample at a time.
void plain_mix_row(uint8_t* row, size_t count, int value, int weight);

}  // namespace ui
