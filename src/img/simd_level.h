// Which build of the row kernels runs. Every level gives the same bits.
#pragma once

namespace img {

enum class simd_level { baseline, v3, v4 };  // x86-64, with AVX2, with AVX-512

// The best level that this processor and this build have, or a lower one that was pinned.
simd_level current_simd_level();
// Pins a level for tests and benchmarks; a level above the best is ignored. Not while pixel work runs.
void pin_simd_level(simd_level level);

}  // namespace img
