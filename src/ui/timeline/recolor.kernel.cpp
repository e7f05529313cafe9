#include <stddef.h>
#include <stdint.h>
#include <string.h>

namespace ui {
namespace KSN_SIMD_LEVEL {

enum { block = 64 };

// A constant size is what the compiler takes whole.
static inline void recolor_block(uint8_t* row, const uint8_t* codes, const uint8_t* wanted, const uint8_t* values) {
  uint8_t in[block], out[block];
  memcpy(in, codes, block);
  memcpy(out, row, block);
  for (int i = 0; i < block; ++i) {
    out[i] = in[i] == wanted[0] ? values[0] : out[i];
    out[i] = in[i] == wanted[1] ? values[1] : out[i];
    out[i] = in[i] == wanted[2] ? values[2] : out[i];
  }
  memcpy(row, out, block);
}

void recolor(uint8_t* row, const uint8_t* codes, size_t count, const uint8_t* wanted, const uint8_t* values) {
  const uint8_t w[3] = {wanted[0], wanted[1], wanted[2]};
  const uint8_t v[3] = {values[0], values[1], values[2]};
  size_t i = 0;
  for (; i + block <= count; i += block) recolor_block(row + i, codes + i, w, v);
  if (i == count) return;
  uint8_t rest[block] = {0}, rest_codes[block] = {0};
  memcpy(rest, row + i, count - i);
  memcpy(rest_codes, codes + i, count - i);
  recolor_block(rest, rest_codes, w, v);
  memcpy(row + i, rest, count - i);
}

}  // namespace KSN_SIMD_LEVEL
}  // namespace ui
