#include "sources/yuv.h"

#include <algorithm>
#include <cmath>

#include "img/at_level.h"

namespace sources {

KSN_DECLARE_LEVELS(void convert_yuv_row(const yuv_row& row, const yuv_weights& weights))

yuv_weights make_yuv_weights(double red, double blue, bool full, int bits) {
  const double green = 1.0 - red - blue;
  const double scale = 1 << (bits - 8);
  const double top = (1 << bits) - 1;
  const double luma_range = full ? top : 219.0 * scale;
  const double chroma_range = full ? top : 224.0 * scale;
  yuv_weights w{};
  // The weights of every depth fit 16 bits with their sign, and sums of any 16-bit samples stay within 31 bits.
  w.shift = 13 + (bits - 8);
  const double one = std::ldexp(255.0, w.shift);
  const auto weight = [&](double value) { return static_cast<int>(std::lrint(one * value)); };
  w.luma = weight(1.0 / luma_range);
  w.blue_u = weight(2.0 * (1.0 - blue) / chroma_range);
  w.green_u = -weight(2.0 * (1.0 - blue) * blue / green / chroma_range);
  w.green_v = -weight(2.0 * (1.0 - red) * red / green / chroma_range);
  w.red_v = weight(2.0 * (1.0 - red) / chroma_range);
  const int luma_zero = full ? 0 : static_cast<int>(16 * scale);
  const int chroma_zero = 1 << (bits - 1);
  const int base = (1 << (w.shift - 1)) - luma_zero * w.luma;
  w.blue_bias = base - chroma_zero * w.blue_u;
  w.green_bias = base - chroma_zero * (w.green_u + w.green_v);
  w.red_bias = base - chroma_zero * w.red_v;
  return w;
}

yuv_row_function active_yuv_row() {
  return KSN_AT_LEVEL(convert_yuv_row);
}

void convert_yuv_row_plainly(const yuv_row& row, const yuv_weights& w) {
  const auto sample = [&](const void* samples, int x) -> int {
    return row.bytes == 1 ? static_cast<const uint8_t*>(samples)[x] : static_cast<const int16_t*>(samples)[x];
  };
  const auto byte = [&](int sum) { return static_cast<uint8_t>(std::clamp(sum >> w.shift, 0, 255)); };
  for (int x = 0; x < row.width; ++x) {
    const int y = sample(row.y, x);
    const int u = sample(row.u, row.half ? x / 2 : x);
    const int v = sample(row.v, row.half ? x / 2 : x);
    row.b[x] = byte(y * w.luma + u * w.blue_u + w.blue_bias);
    row.g[x] = byte(y * w.luma + u * w.green_u + v * w.green_v + w.green_bias);
    row.r[x] = byte(y * w.luma + v * w.red_v + w.red_bias);
  }
}

}  // namespace sources
