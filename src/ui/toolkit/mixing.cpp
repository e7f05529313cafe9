#include "ui/toolkit/mixing.h"

#include "img/at_level.h"

namespace ui {

KSN_DECLARE_LEVELS(void mix_row(uint8_t* row, size_t count, int value, int weight))

void mix_row(uint8_t* row, size_t count, int value, int weight) {
  // A corner of a box is a few samples.
  if (count < 16) return plain_mix_row(row, count, value, weight);
  KSN_AT_LEVEL(mix_row)(row, count, value, weight);
}

void plain_mix_row(uint8_t* row, size_t count, int value, int weight) {
  for (size_t i = 0; i < count; ++i)
    row[i] = static_cast<uint8_t>((row[i] * (255 - weight) + value * weight + 127) / 255);
}

}  // namespace ui
