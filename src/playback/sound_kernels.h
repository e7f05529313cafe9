// Row functions of the sound mix: one table for each instruction set. Every level gives the same samples.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace playback {

struct sound_kernels {
  // mix = mix + samples, held within 16 bits.
  void (*add)(int16_t* mix, const int16_t* samples, size_t n);
  // mix = mix + (samples * k >> 8), held within 16 bits; k is 0 to 255.
  void (*add_scaled)(int16_t* mix, const int16_t* samples, size_t n, int k);
};

// The kernels of img::current_simd_level().
const sound_kernels& active_sound_kernels();
// The meaning of the others, one sample at a time.
const sound_kernels& plain_sound_kernels();

}  // namespace playback
