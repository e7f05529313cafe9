// Runs a check under every instruction set that this machine has.
#pragma once

#include "img/simd_level.h"

namespace support {

// Calls check(name) with each level pinned, lowest first; the best is active again afterwards.
template <class Check>
void for_each_simd_level(Check&& check) {
  const img::simd_level best = img::current_simd_level();
  const struct {
    img::simd_level level;
    const char* name;
  } levels[] = {{img::simd_level::baseline, "baseline"}, {img::simd_level::v3, "v3"}, {img::simd_level::v4, "v4"}};
  for (const auto& [level, name] : levels) {
    if (level > best) break;
    img::pin_simd_level(level);
    check(name);
  }
  img::pin_simd_level(best);
}

}  // namespace support
