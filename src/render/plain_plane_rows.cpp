#include <algorithm>
#include <cstdlib>

#include "render/plane_kernels.h"

namespace render {
namespace {

void luminance(uint8_t* out, const uint8_t* b, const uint8_t* g, const uint8_t* r, size_t n) {
  for (size_t i = 0; i < n; ++i) out[i] = static_cast<uint8_t>((54 * r[i] + 183 * g[i] + 19 * b[i]) >> 8);
}

void key(uint8_t* a, const uint8_t* b, const uint8_t* g, const uint8_t* r, size_t n, const key_row* key, bool lesser) {
  for (size_t i = 0; i < n; ++i) {
    const int difference = std::abs(r[i] - key->r) + std::abs(g[i] - key->g) + std::abs(b[i] - key->b);
    const int beyond = key->reversed ? key->tolerance - difference : difference - key->tolerance;
    const int value = std::clamp(beyond * key->slope / 2, 0, 255);
    a[i] = static_cast<uint8_t>(lesser ? std::min<int>(value, a[i]) : value);
  }
}

void invert(uint8_t* out, const uint8_t* in, size_t n) {
  for (size_t i = 0; i < n; ++i) out[i] = static_cast<uint8_t>(255 - in[i]);
}

// MUL of sample i of a row of n.
int mul(int x, int y, size_t i, size_t n) {
  const bool in_bulk = i < n / 8 * 8;
  return in_bulk ? (x + (x >> 7)) * y >> 8 : x * y / 255;
}

void multiply(uint8_t* a, const uint8_t* own, size_t n) {
  for (size_t i = 0; i < n; ++i) a[i] = static_cast<uint8_t>(mul(own[i], a[i], i, n));
}

void screen(uint8_t* a, const uint8_t* own, size_t n) {
  for (size_t i = 0; i < n; ++i) a[i] = static_cast<uint8_t>(255 - mul(255 - own[i], 255 - a[i], i, n));
}

void lerp(uint8_t* out, const uint8_t* from, const uint8_t* to, size_t n, int weight) {
  for (size_t i = 0; i < n; ++i) out[i] = static_cast<uint8_t>(((from[i] - to[i]) * weight >> 8) + to[i]);
}

void interleave(uint8_t* out, const uint8_t* in, size_t n, int first) {
  for (size_t i = static_cast<size_t>(first); i < n; i += 2) out[i] = in[i];
}

void checker(uint8_t* d, const uint8_t* a, size_t n, int phase, uint8_t first, uint8_t second) {
  for (size_t i = 0; i < n; ++i) {
    const bool odd_square = (static_cast<size_t>(phase) + i) / 8 % 2 != 0;
    const int gray = odd_square ? second : first;
    d[i] = static_cast<uint8_t>(std::min(255, d[i] + gray * (255 - a[i]) / 255));
  }
}

}  // namespace

const plane_kernels& plain_plane_kernels() {
  static const plane_kernels table{luminance, key, invert, multiply, screen, lerp, interleave, checker};
  return table;
}

}  // namespace render
