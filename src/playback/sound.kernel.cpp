#include <stddef.h>
#include <stdint.h>

#include "playback/sound_kernels.h"

namespace playback {
namespace KSN_SIMD_LEVEL {
namespace {

inline int16_t saturated(int32_t value) {
  value = value > 32767 ? 32767 : value;
  return (int16_t)(value < -32768 ? -32768 : value);
}

void add(int16_t* __restrict mix, const int16_t* __restrict samples, size_t n) {
  for (size_t i = 0; i < n; ++i) mix[i] = saturated(mix[i] + samples[i]);
}

void add_scaled(int16_t* __restrict mix, const int16_t* __restrict samples, size_t n, int k) {
  for (size_t i = 0; i < n; ++i) mix[i] = saturated(mix[i] + (samples[i] * k >> 8));
}

}  // namespace

extern const sound_kernels sound_table;
const sound_kernels sound_table = {add, add_scaled};

}  // namespace KSN_SIMD_LEVEL
}  // namespace playback
