#include "sources/media/yuv.h"

namespace media {
namespace KSN_SIMD_LEVEL {
namespace {

inline uint8_t to_byte(int sum, int shift) {
  const int value = sum >> shift;
  return static_cast<uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
}

// Plain loops over pixels that do not touch each other's data: the compiler makes vectors of them.
template <class T>
void convert_row(const yuv_row& row, const yuv_weights& w, const T* __restrict y, const T* __restrict u,
                 const T* __restrict v) {
  uint8_t* __restrict b = row.b;
  uint8_t* __restrict g = row.g;
  uint8_t* __restrict r = row.r;
  const int half_unit = 1 << (w.shift - 1);
  if (!row.half) {
    for (int x = 0; x < row.width; ++x) {
      const int luma = (y[x] - w.luma_zero) * w.luma + half_unit;
      const int cu = u[x] - w.chroma_zero;
      const int cv = v[x] - w.chroma_zero;
      b[x] = to_byte(luma + cu * w.blue_u, w.shift);
      g[x] = to_byte(luma - cu * w.green_u - cv * w.green_v, w.shift);
      r[x] = to_byte(luma + cv * w.red_v, w.shift);
    }
    return;
  }
  const int pairs = row.width / 2;
  for (int i = 0; i < pairs; ++i) {
    const int cu = u[i] - w.chroma_zero;
    const int cv = v[i] - w.chroma_zero;
    const int blue = cu * w.blue_u;
    const int green = cu * w.green_u + cv * w.green_v;
    const int red = cv * w.red_v;
    const int first = (y[2 * i] - w.luma_zero) * w.luma + half_unit;
    const int second = (y[2 * i + 1] - w.luma_zero) * w.luma + half_unit;
    b[2 * i] = to_byte(first + blue, w.shift);
    b[2 * i + 1] = to_byte(second + blue, w.shift);
    g[2 * i] = to_byte(first - green, w.shift);
    g[2 * i + 1] = to_byte(second - green, w.shift);
    r[2 * i] = to_byte(first + red, w.shift);
    r[2 * i + 1] = to_byte(second + red, w.shift);
  }
  if (row.width & 1) {
    const int x = row.width - 1;
    const int luma = (y[x] - w.luma_zero) * w.luma + half_unit;
    const int cu = u[pairs] - w.chroma_zero;
    const int cv = v[pairs] - w.chroma_zero;
    b[x] = to_byte(luma + cu * w.blue_u, w.shift);
    g[x] = to_byte(luma - cu * w.green_u - cv * w.green_v, w.shift);
    r[x] = to_byte(luma + cv * w.red_v, w.shift);
  }
}

}  // namespace

void convert_yuv_row(const yuv_row& row, const yuv_weights& weights) {
  if (row.bytes == 1) {
    convert_row(row, weights, static_cast<const uint8_t*>(row.y), static_cast<const uint8_t*>(row.u),
                static_cast<const uint8_t*>(row.v));
  } else {
    convert_row(row, weights, static_cast<const uint16_t*>(row.y), static_cast<const uint16_t*>(row.u),
                static_cast<const uint16_t*>(row.v));
  }
}

}  // namespace KSN_SIMD_LEVEL
}  // namespace media
