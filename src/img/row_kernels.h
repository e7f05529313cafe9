// Row operations of the picture room, built once for each instruction set. Plain declarations only: kernel files
// include this.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace img {

// Interleaved samples are blue, green, red and maybe alpha. No operation reads or writes past `count` pixels, sources
// and targets must not overlap, and nothing needs alignment.
struct row_kernels {
  void (*split3)(const uint8_t* pixels, uint8_t* b, uint8_t* g, uint8_t* r, size_t count);
  void (*split4)(const uint8_t* pixels, uint8_t* b, uint8_t* g, uint8_t* r, uint8_t* a, size_t count);
  void (*join3)(const uint8_t* b, const uint8_t* g, const uint8_t* r, uint8_t* pixels, size_t count);
  void (*join4)(const uint8_t* b, const uint8_t* g, const uint8_t* r, const uint8_t* a, uint8_t* pixels, size_t count);
  void (*split3_16)(const uint16_t* pixels, uint16_t* b, uint16_t* g, uint16_t* r, size_t count);
  // Little-endian words of 5 bits a colour, blue lowest, to bytes: (v << 3) + (v >> 2). Bit 15 is dropped.
  void (*split555)(const uint8_t* words, uint8_t* b, uint8_t* g, uint8_t* r, size_t count);

  // Every second or fourth sample of 1, 2 and 4 bytes; `count` samples are written.
  void (*every_2nd_8)(const uint8_t* source, uint8_t* target, size_t count);
  void (*every_4th_8)(const uint8_t* source, uint8_t* target, size_t count);
  void (*every_2nd_16)(const uint16_t* source, uint16_t* target, size_t count);
  void (*every_4th_16)(const uint16_t* source, uint16_t* target, size_t count);
  void (*every_2nd_32)(const uint32_t* source, uint32_t* target, size_t count);
  void (*every_4th_32)(const uint32_t* source, uint32_t* target, size_t count);
};

// For current_simd_level().
const row_kernels& active_row_kernels();
// The portable forms that the others are held against.
const row_kernels& plain_row_kernels();

}  // namespace img
