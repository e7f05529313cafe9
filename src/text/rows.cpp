#include "text/rows.h"

#include "img/simd_level.h"

namespace text {

namespace baseline {
void cover_row(uint8_t* row, const uint8_t* coverage, size_t n, int value, int alpha);
}
#if defined(KSN_X86_LEVELS)
namespace v3 {
void cover_row(uint8_t* row, const uint8_t* coverage, size_t n, int value, int alpha);
}
namespace v4 {
void cover_row(uint8_t* row, const uint8_t* coverage, size_t n, int value, int alpha);
}
#endif

void cover_row(uint8_t* row, const uint8_t* coverage, size_t n, int value, int alpha) {
  switch (img::current_simd_level()) {
#if defined(KSN_X86_LEVELS)
    case img::simd_level::v4:
      return v4::cover_row(row, coverage, n, value, alpha);
    case img::simd_level::v3:
      return v3::cover_row(row, coverage, n, value, alpha);
#endif
    default:
      return baseline::cover_row(row, coverage, n, value, alpha);
  }
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
