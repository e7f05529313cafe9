// The builds of a kernel file for each instruction set level, and the one that runs.
#pragma once

#include "img/simd_level.h"

namespace img {

// The one of three builds that belongs to current_simd_level().
template <class T>
const T& at_level(const T& baseline, const T& v3, const T& v4) {
  switch (current_simd_level()) {
    case simd_level::v4:
      return v4;
    case simd_level::v3:
      return v3;
    default:
      return baseline;
  }
}

}  // namespace img

// KSN_DECLARE_LEVELS(declaration) repeats a declaration in the namespace of each level, and KSN_AT_LEVEL(name) is what
// the name stands for at the current one: a table or a function. Other processors have the baseline alone.
#if defined(KSN_X86_LEVELS)
#define KSN_DECLARE_LEVELS(declaration) \
  namespace baseline {                  \
  declaration;                          \
  }                                     \
  namespace v3 {                        \
  declaration;                          \
  }                                     \
  namespace v4 {                        \
  declaration;                          \
  }
#define KSN_AT_LEVEL(name) (*::img::at_level(&baseline::name, &v3::name, &v4::name))
#else
#define KSN_DECLARE_LEVELS(declaration) \
  namespace baseline {                  \
  declaration;                          \
  }
#define KSN_AT_LEVEL(name) (baseline::name)
#endif
