// The row operations of the compositor: one call blends one span of a source row into a target row, all planes at once.
// Plain declarations only, so that the kernels of every instruction set can include it.
#pragma once

#include <stdint.h>

namespace render {

// The planes of one span: blue, green, red, alpha. Samples are bytes; source and target do not overlap. A null target
// plane is left out. A source without alpha has a null fourth plane and takes the `ignore` operations; a gray source
// names its one plane three times.
struct row_planes {
  uint8_t* target[4];
  const uint8_t* source[4];
};

// Blends `count` samples of every plane and writes nothing behind them. The first count & ~7 samples use the bulk form
// of the arithmetic, the rest the tail form. `weight` is the opacity on the 256 scale, 0 to 255; the opaque operations
// do not read it.
using row_operation = void (*)(const row_planes& planes, int count, int weight);

constexpr int blend_count = 5;  // ksn::blend_type
constexpr int alpha_count = 4;  // ksn::alpha_type

struct row_operations {
  row_operation opaque[blend_count][alpha_count];
  row_operation scaled[blend_count][alpha_count];
  // target = the larger of both samples.
  void (*keep_larger)(uint8_t* target, const uint8_t* source, int count);
};

// One sample at a time, each operation under its formula: what the kernels are compared with.
const row_operations& plain_rows();
// The kernels of img::current_simd_level().
const row_operations& current_rows();

}  // namespace render
