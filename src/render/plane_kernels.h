// Row functions of the pipeline and of what follows the compositor: one table for each instruction set. Rows are 8-bit
// samples; nothing is written past `n`, and rows have no alignment. Every level gives the same bits.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace render {

// A colour key with its numbers brought into ranges that change no result; see keyer.cpp.
struct key_row {
  uint8_t b, g, r;
  int16_t tolerance;  // -510 to 1275
  uint16_t slope;     // 0 to 510
  uint16_t most;      // difference from which the alpha is 255 anyway
  bool reversed;      // alpha falls with the distance
};

struct plane_kernels {
  // out = (54 r + 183 g + 19 b) >> 8
  void (*luminance)(uint8_t* out, const uint8_t* b, const uint8_t* g, const uint8_t* r, size_t n);
  // a = alpha of the key, or with `lesser` the smaller of that and a.
  void (*key)(uint8_t* a, const uint8_t* b, const uint8_t* g, const uint8_t* r, size_t n, const key_row* key,
              bool lesser);
  // out = 255 - in; `in` may be `out`.
  void (*invert)(uint8_t* out, const uint8_t* in, size_t n);
  // a = MUL(own, a) and a = 255 - MUL(255 - own, 255 - a); MUL in the compositor's two roundings, eight samples at a
  // time and then the tail.
  void (*multiply)(uint8_t* a, const uint8_t* own, size_t n);
  void (*screen)(uint8_t* a, const uint8_t* own, size_t n);
  // out = ((from - to) * weight >> 8) + to; `from` or `to` may be `out`.
  void (*lerp)(uint8_t* out, const uint8_t* from, const uint8_t* to, size_t n, int weight);
  // Every second sample of `out`, beginning with index `first` (0 or 1), becomes that of `in`.
  void (*interleave)(uint8_t* out, const uint8_t* in, size_t n, int first);
  // d = d + gray * (255 - a) / 255, where a square of 8 samples has gray `first`, the next one `second`, and so on;
  // `phase` (0 to 15) samples of the first pair of squares lie before the row.
  void (*checker)(uint8_t* d, const uint8_t* a, size_t n, int phase, uint8_t first, uint8_t second);
};

// The kernels of img::current_simd_level().
const plane_kernels& active_plane_kernels();
// The meaning of the others, one sample at a time.
const plane_kernels& plain_plane_kernels();

}  // namespace render
