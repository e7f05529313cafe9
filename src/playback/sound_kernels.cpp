#include "playback/sound_kernels.h"

#include <algorithm>

#include "img/at_level.h"

namespace playback {

KSN_DECLARE_LEVELS(extern const sound_kernels sound_table)

const sound_kernels& active_sound_kernels() {
  return KSN_AT_LEVEL(sound_table);
}

namespace {

int16_t saturated(int value) {
  return static_cast<int16_t>(std::clamp(value, -32768, 32767));
}

void plain_add(int16_t* mix, const int16_t* samples, size_t n) {
  for (size_t i = 0; i < n; ++i) mix[i] = saturated(mix[i] + samples[i]);
}

void plain_add_scaled(int16_t* mix, const int16_t* samples, size_t n, int k) {
  for (size_t i = 0; i < n; ++i) mix[i] = saturated(mix[i] + (samples[i] * k >> 8));
}

}  // namespace

const sound_kernels& plain_sound_kernels() {
  static const sound_kernels table = {plain_add, plain_add_scaled};
  return table;
}

}  // namespace playback
