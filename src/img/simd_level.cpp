#include "img/simd_level.h"

#include <atomic>

namespace img {
namespace {

simd_level best_level() {
#if defined(KSN_X86_LEVELS)
  if (__builtin_cpu_supports("x86-64-v4")) return simd_level::v4;
  if (__builtin_cpu_supports("x86-64-v3")) return simd_level::v3;
#endif
  return simd_level::baseline;
}

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
