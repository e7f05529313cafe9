#include "sources/rgb_to_yuv.h"

#include <cmath>
#include <cstdint>

#include "img/simd_level.h"

namespace sources {

namespace baseline {
extern const yuv_making_rows yuv_making_table;
}
#if defined(KSN_X86_LEVELS)
namespace v3 {
extern const yuv_making_rows yuv_making_table;
}
namespace v4 {
extern const yuv_making_rows yuv_making_table;
}
#endif

yuv_matrix make_yuv_matrix(double red, double blue, bool full, int bits, int in_max) {
  const double scale = 1 << (bits - 8);
  const double top = (1 << bits) - 1;
  const int zero = full ? 0 : static_cast<int>(16 * scale);
  const int middle = 1 << (bits - 1);
  // The greatest sample and the half that rounds still fit 31 bits.
  const int shift = 30 - bits;
  const double one = std::ldexp(1.0, shift) / in_max;
  const auto weight = [&](double value) { return static_cast<std::int32_t>(std::lrint(one * value)); };
  const auto row = [&](std::int32_t b, std::int32_t g, std::int32_t r, int level) {
    return matrix_row{b, g, r, (level << shift) + (1 << (shift - 1)), shift, static_cast<int>(top)};
  };
  const double luma = full ? top : 219.0 * scale;
  const double chroma = full ? top : 224.0 * scale;
  const std::int32_t luma_blue = weight(luma * blue);
  const std::int32_t luma_red = weight(luma * red);
  const std::int32_t u_red = weight(-chroma * red / (2.0 * (1.0 - blue)));
  const std::int32_t v_blue = weight(-chroma * blue / (2.0 * (1.0 - red)));
  const std::int32_t half = weight(chroma / 2.0);
  return {row(luma_blue, weight(luma) - luma_blue - luma_red, luma_red, zero), row(half, -half - u_red, u_red, middle),
          row(v_blue, -half - v_blue, half, middle)};
}

const yuv_making_rows& current_yuv_making_rows() {
#if defined(KSN_X86_LEVELS)
  switch (img::current_simd_level()) {
    case img::simd_level::v4:
      return v4::yuv_making_table;
    case img::simd_level::v3:
      return v3::yuv_making_table;
    case img::simd_level::baseline:
      break;
  }
#endif
  return baseline::yuv_making_table;
}

}  // namespace sources
