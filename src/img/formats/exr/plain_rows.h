// The portable forms of the OpenEXR row functions. In an unnamed namespace, since kernel files include this.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace img {
namespace {

inline void plain_undo_differences(uint8_t* bytes, size_t count) {
  for (size_t i = 1; i < count; ++i) bytes[i] = static_cast<uint8_t>(bytes[i] + bytes[i - 1] - 128);
}

inline void plain_join_bytes(uint16_t* __restrict out, const uint8_t* __restrict low, const uint8_t* __restrict high,
                             size_t count) {
  for (size_t i = 0; i < count; ++i) out[i] = static_cast<uint16_t>(low[i] | high[i] << 8);
}

inline void plain_take_differences(uint8_t* __restrict out, const uint8_t* __restrict bytes, size_t count) {
  if (count > 0) out[0] = bytes[0];
  for (size_t i = 1; i < count; ++i) out[i] = static_cast<uint8_t>(bytes[i] - bytes[i - 1] + 128);
}

inline void plain_split_bytes(uint8_t* __restrict low, uint8_t* __restrict high, const uint16_t* __restrict samples,
                              size_t count) {
  for (size_t i = 0; i < count; ++i) {
    low[i] = static_cast<uint8_t>(samples[i]);
    high[i] = static_cast<uint8_t>(samples[i] >> 8);
  }
}

inline uint16_t plain_half_of(uint32_t bits) {
  const uint32_t sign = bits >> 16 & 0x8000u;
  const uint32_t magnitude = bits & 0x7FFFFFFFu;
  uint32_t half = 0;
  if (magnitude > 0x7F800000u) {
    const uint32_t payload = magnitude >> 13 & 0x3FFu;
    half = 0x7C00u | payload | (payload == 0 ? 1u : 0u);
  } else if (magnitude > 0x477FE000u) {  // 65504
    half = 0x7C00u;
  } else if (magnitude >= 0x38800000u) {  // the smallest normal half
    half = (magnitude - 0x38000000u + 0xFFFu + (magnitude >> 13 & 1u)) >> 13;
  } else if (magnitude >= 0x33000000u) {  // a half of the smallest half
    const uint32_t shift = 126 - (magnitude >> 23);
    const uint32_t mantissa = (magnitude & 0x7FFFFFu) | 0x800000u;
    const uint32_t lost = mantissa & ((1u << shift) - 1);
    const uint32_t middle = 1u << (shift - 1);
    half = mantissa >> shift;
    if (lost > middle || (lost == middle && (half & 1u) != 0)) ++half;
  }
  return static_cast<uint16_t>(sign | half);
}

inline void plain_floats_to_halves(uint16_t* out, const uint32_t* floats, size_t count) {
  for (size_t i = 0; i < count; ++i) out[i] = plain_half_of(floats[i]);
}

}  // namespace
}  // namespace img
