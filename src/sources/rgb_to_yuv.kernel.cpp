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

// The sum of weights of 16, held to the range of the samples, as it is stored.
inline uint16_t stored(int32_t sum, const uint8_t*) {
  const int32_t most = 16 * 255;
  return (uint16_t)(sum < 0 ? 0 : sum > most ? most : sum);
}
inline uint16_t stored(int32_t sum, const uint16_t*) {
  const int32_t most = 65535;
  const int32_t value = (sum + 8) >> 4;
  return (uint16_t)(value < 0 ? 0 : value > most ? most : value);
}

// The weighted sum around sample `at` of one row; `outer` and `inner` lie two and one beside it.
template <class In>
inline int32_t around(const In* row, size_t outer_left, size_t inner_left, size_t at, size_t inner_right,
                      size_t outer_right) {
  return 6 * row[at] + 2 * (row[inner_left] + row[inner_right]) - row[outer_left] - row[outer_right];
}

// The same near an end of the row, where samples beyond it are the last one.
template <class In>
inline int32_t around_end(const In* row, size_t at, size_t width) {
  const size_t last = width - 1;
  const size_t one = at > 0 ? at - 1 : 0;
  const size_t two = at > 1 ? at - 2 : 0;
  return around(row, two, one, at, at + 1 < last ? at + 1 : last, at + 2 < last ? at + 2 : last);
}

template <class In>
void halve(const In* __restrict upper, const In* __restrict lower, uint16_t* __restrict out, size_t width,
           chroma_across across) {
  const size_t whole = width / 2;  // pairs
  if (across == chroma_between) {
    for (size_t i = 0; i < whole; ++i) {
      out[i] = stored(4 * (upper[2 * i] + upper[2 * i + 1] + lower[2 * i] + lower[2 * i + 1]), upper);
    }
    if (width & 1) out[whole] = stored(8 * (upper[width - 1] + lower[width - 1]), upper);
    return;
  }
  const size_t count = whole + (width & 1);
  const size_t inner = width >= 5 ? (width - 3) / 2 : 0;  // the last one with two samples on its right
  for (size_t i = 1; i <= inner; ++i) {
    const size_t at = 2 * i;
    out[i] = stored(
        around(upper, at - 2, at - 1, at, at + 1, at + 2) + around(lower, at - 2, at - 1, at, at + 1, at + 2), upper);
  }
  for (size_t i = 0; i < count; i = i == 0 ? inner + 1 : i + 1)
    out[i] = stored(around_end(upper, 2 * i, width) + around_end(lower, 2 * i, width), upper);
}

}  // namespace

extern const yuv_making_rows yuv_making_table;
const yuv_making_rows yuv_making_table = {weigh<uint8_t, uint8_t>,   weigh<uint8_t, uint16_t>, weigh<uint16_t, uint8_t>,
                                          weigh<uint16_t, uint16_t>, halve<uint8_t>,           halve<uint16_t>};

}  // namespace KSN_SIMD_LEVEL
}  // namespace sources
