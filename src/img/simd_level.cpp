#include "img/simd_level.h"

#include <atomic>

namespace img {
namespace {

simd_level best_level() {
#if defined(KSN_X86_LEVELS)
#if defined(__clang__) && __clang_major__ < 16
  // This compiler does not know the levels by name. The features it can't ask for are in every processor that has
  // these.
  const bool v3 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2") &&
                  __builtin_cpu_supports("fma");
  const bool v4 = v3 && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                  __builtin_cpu_supports("avx512cd") && __builtin_cpu_supports("avx512dq") &&
                  __builtin_cpu_supports("avx512vl");
#else
  const bool v3 = __builtin_cpu_supports("x86-64-v3");
  const bool v4 = __builtin_cpu_supports("x86-64-v4");
#endif
  if (v4) return simd_level::v4;
  if (v3) return simd_level::v3;
#endif
  return simd_level::baseline;
}

// One per process, as the processor is.
std::atomic<simd_level>& active_level() {
  static std::atomic<simd_level> level{best_level()};
  return level;
}

}  // namespace

simd_level current_simd_level() {
  return active_level().load(std::memory_order_relaxed);
}

void pin_simd_level(simd_level level) {
  if (level <= best_level()) active_level().store(level, std::memory_order_relaxed);
}

}  // namespace img
