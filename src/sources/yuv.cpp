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
  const int part = bits == 8 ? 4 : 1;  // of a chroma sample
  // The weights of every depth fit 16 bits with their sign, and sums of any 16-bit samples stay within 31 bits.
  w.shift = bits == 8 ? 14 : 13 + (bits - 8);
  const double one = std::ldexp(255.0, w.shift);
  const auto weight = [&](double value) { return static_cast<int>(std::lrint(one * value)); };
  const auto chroma = [&](double value) { return weight(value / (chroma_range * part)); };
  w.luma = weight(1.0 / luma_range);
  w.blue_u = chroma(2.0 * (1.0 - blue));
  w.green_u = -chroma(2.0 * (1.0 - blue) * blue / green);
  w.green_v = -chroma(2.0 * (1.0 - red) * red / green);
  w.red_v = chroma(2.0 * (1.0 - red));
  const int luma_zero = full ? 0 : static_cast<int>(16 * scale);
  const int chroma_zero = part << (bits - 1);
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
  const auto sample = [&](const void* samples, int i) -> int {
    return row.bytes == 1 ? static_cast<const uint8_t*>(samples)[i] : static_cast<const uint16_t*>(samples)[i];
  };
  const int last = (row.width + 1) / 2 - 1;
  const auto mixed = [&](const void* near, const void* far, int i) {
    if (row.across != chroma_on_each) i = std::clamp(i, 0, last);
    const int sum = (4 - row.far) * sample(near, i) + (row.far > 0 ? row.far * sample(far, i) : 0);
    return row.bytes == 1 ? sum : (sum + 2) >> 2;
  };
  const auto chroma = [&](const void* near, const void* far, int x) -> int {
    const auto at = [&](int i) { return mixed(near, far, i); };
    const int pair = x / 2;
    int value = 0;
    if (row.across == chroma_on_each) {
      value = at(x);
    } else if (row.across == chroma_on_left) {
      value = (x & 1) == 0 ? at(pair) : (at(pair) + at(pair + 1) + 1) >> 1;
    } else {
      value = (3 * at(pair) + at((x & 1) == 0 ? pair - 1 : pair + 1) + 2) >> 2;
    }
    return static_cast<int16_t>(value);
  };
  const auto byte = [&](int sum) { return static_cast<uint8_t>(std::clamp(sum >> w.shift, 0, 255)); };
  for (int x = 0; x < row.width; ++x) {
    const int y = static_cast<int16_t>(sample(row.y, x));
    const int u = chroma(row.u, row.far_u, x);
    const int v = chroma(row.v, row.far_v, x);
    row.b[x] = byte(y * w.luma + u * w.blue_u + w.blue_bias);
    row.g[x] = byte(y * w.luma + u * w.green_u + v * w.green_v + w.green_bias);
    row.r[x] = byte(y * w.luma + v * w.red_v + w.red_bias);
  }
}

}  // namespace sources
