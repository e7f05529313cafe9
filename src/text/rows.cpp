#include "text/rows.h"

#include "img/at_level.h"

namespace text {

KSN_DECLARE_LEVELS(void cover_rows(uint8_t* const* rows, const uint8_t* values, int count, const uint8_t* coverage,
                                   size_t n, int alpha))

void cover_rows(uint8_t* const* rows, const uint8_t* values, int count, const uint8_t* coverage, size_t n, int alpha) {
  return KSN_AT_LEVEL(cover_rows)(rows, values, count, coverage, n, alpha);
}

void plain_cover_row(uint8_t* row, const uint8_t* coverage, size_t n, int value, int alpha) {
  for (size_t i = 0; i < n; ++i) {
    const int c = coverage[i];
    int w = (c + (c >> 7)) * alpha >> 8;
    w += w >> 7;
    row[i] = static_cast<uint8_t>(row[i] + ((value - row[i]) * w >> 8));
  }
}

}  // namespace text
