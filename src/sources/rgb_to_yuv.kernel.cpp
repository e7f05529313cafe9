#include "sources/rgb_to_yuv.h"

namespace sources {
namespace KSN_SIMD_LEVEL {
namespace {

template <class In, class Out>
void weigh(const In* __restrict b, const In* __restrict g, const In* __restrict r, Out* __restrict out,
           const matrix_row* row, size_t count) {
  const matrix_row w = *row;
  for (size_t i = 0; i < count; ++i) {
    int32_t value = (w.blue * b[i] + w.green * g[i] + w.red * r[i] + w.bias) >> w.shift;
    value = value < 0 ? 0 : value;
    out[i] = (Out)(value > w.limit ? w.limit : value);
  }
}

// The sum of eight samples as it is stored.
inline uint16_t stored(uint32_t sum, const uint8_t*) {
  return (uint16_t)sum;
}
inline uint16_t stored(uint32_t sum, const uint16_t*) {
  return (uint16_t)((sum + 4) >> 3);
}

template <class In>
void halve(const In* __restrict upper, const In* __restrict lower, uint16_t* __restrict out, size_t width, int place) {
  const size_t whole = width / 2;  // pairs
  if (place == chroma_between) {
    for (size_t i = 0; i < whole; ++i) {
      out[i] = stored(2u * (upper[2 * i] + upper[2 * i + 1] + lower[2 * i] + lower[2 * i + 1]), upper);
    }
    if (width & 1) out[whole] = stored(4u * (upper[width - 1] + lower[width - 1]), upper);
    return;
  }
  if (whole > 0) out[0] = stored(3u * (upper[0] + lower[0]) + upper[1] + lower[1], upper);
  for (size_t i = 1; i < whole; ++i) {
    out[i] = stored(upper[2 * i - 1] + 2u * upper[2 * i] + upper[2 * i + 1] + lower[2 * i - 1] + 2u * lower[2 * i] +
                        lower[2 * i + 1],
                    upper);
  }
  if (width & 1) {
    const size_t last = width - 1;
    const size_t before = last > 0 ? last - 1 : 0;
    out[whole] = stored(upper[before] + 3u * upper[last] + lower[before] + 3u * lower[last], upper);
  }
}

}  // namespace

extern const yuv_making_rows yuv_making_table;
const yuv_making_rows yuv_making_table = {weigh<uint8_t, uint8_t>,   weigh<uint8_t, uint16_t>, weigh<uint16_t, uint8_t>,
                                          weigh<uint16_t, uint16_t>, halve<uint8_t>,           halve<uint16_t>};

}  // namespace KSN_SIMD_LEVEL
}  // namespace sources
