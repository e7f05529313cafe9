#include "playback/sound_kernels.h"

#include <algorithm>

#include "img/simd_level.h"

namespace playback {

namespace baseline {
extern const sound_kernels sound_table;
}
#if defined(KSN_X86_LEVELS)
namespace v3 {
extern const sound_kernels sound_table;
}
namespace v4 {
extern const sound_kernels sound_table;
}
#endif

const sound_kernels& sound_rows() {
  switch (img::current_simd_level()) {
#if defined(KSN_X86_LEVELS)
    case img::simd_level::v4:
      return v4::sound_table;
    case img::simd_level::v3:
      return v3::sound_table;
#endif
    default:
      return baseline::sound_table;
  }
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

const sound_kernels& plain_sound_rows() {
  static const sound_kernels table = {plain_add, plain_add_scaled};
  return table;
}

}  // namespace playback
