#include "ui/timeline/recolor.h"

#include "img/at_level.h"

namespace ui {

KSN_DECLARE_LEVELS(void recolor(uint8_t* row, const uint8_t* codes, size_t count, const uint8_t* wanted,
                                const uint8_t* values))

void recolor(uint8_t* row, const uint8_t* codes, size_t count, const uint8_t* wanted, const uint8_t* values) {
  return KSN_AT_LEVEL(recolor)(row, codes, count, wanted, values);
}

void plain_recolor(uint8_t* row, const uint8_t* codes, size_t count, const uint8_t* wanted, const uint8_t* values) {
  for (size_t i = 0; i < count; ++i) {
    for (int k = 0; k < 3; ++k) row[i] = codes[i] == wanted[k] ? values[k] : row[i];
  }
}

}  // namespace ui
