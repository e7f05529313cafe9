// Runs a check for every instruction set and for several numbers of threads.
#pragma once

#include "img/simd_level.h"
#include "lib/parallel.h"

namespace support {

// Calls check(name) with each level that this machine has pinned.
template <class Check>
void every_level(Check&& check) {
  const img::simd_level best = img::current_simd_level();
  const char* names[] = {"baseline", "v3", "v4"};
  for (int level = 0; level <= static_cast<int>(best); ++level) {
    img::pin_simd_level(static_cast<img::simd_level>(level));
    check(names[level]);
  }
  img::pin_simd_level(best);
}

// Calls check(threads) for 1, 2, 3 and 7 threads.
template <class Check>
void every_thread_count(Check&& check) {
  for (const int threads : {1, 2, 3, 7}) {
    lib::set_thread_count(threads);
    check(threads);
  }
  lib::set_thread_count(0);
}

}  // namespace support
