// Row functions of OpenEXR pictures, built once for each instruction set. Plain declarations only: the kernel file
// includes this.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace img {

// Nothing needs alignment and nothing is read or written past `count`.
struct exr_kernels {
  // Undoes the byte differences of the ZIP and run-length codings in place: each byte but the first becomes itself plus
  // the new byte before it, minus 128.
  void (*undo_differences)(uint8_t* bytes, size_t count);
  // Puts `count` samples of 16 bits together from their low and high bytes. No overlap.
  void (*join_bytes)(uint16_t* out, const uint8_t* low, const uint8_t* high, size_t count);
  // The reverse of both. A copy for the differences; no overlap.
  void (*take_differences)(uint8_t* out, const uint8_t* bytes, size_t count);
  void (*split_bytes)(uint8_t* low, uint8_t* high, const uint16_t* samples, size_t count);
  // Bits of IEEE singles to halves, rounded to the nearest, ties to even. Beyond 65504, the largest half, infinite.
  // NaNs keep the upper bits of their payload. No overlap.
  void (*floats_to_halves)(uint16_t* out, const uint32_t* floats, size_t count);
};

// For current_simd_level().
const exr_kernels& active_exr_kernels();
// The portable forms that the others are held against.
const exr_kernels& plain_exr_kernels();

}  // namespace img
