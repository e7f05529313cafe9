// The row operations of the compositor: one call blends a span of one or more layers into a target row, all planes at
// once. Plain declarations only, so that the kernels of every instruction set can include it.
#pragma once

#include <stdint.h>

namespace render {

// One span of a target row: blue, green, red, alpha. A null plane is left out. With a background (a sample for each
// plane) the target is not read but starts from that.
struct target_span {
  uint8_t* planes[4];
  const uint8_t* background;
};

// The same columns of a layer, which do not overlap the target. A gray layer names its one plane three times. The alpha
// is read by the alpha modes other than `ignore` and may be null in that. `weight` is the opacity on the 256 scale, 0
// to 253; the opaque operations do not read it. `ahead` bytes after each sample lies one that is read soon, 0 for
// none.
struct source_span {
  const uint8_t* planes[4];
  int weight;
  int ahead;
};

// Blends `count` samples of each of 1 to most_layers spans, the lowest layer first, and writes nothing after them. The
// first count & ~7 samples use the bulk form of the arithmetic, the rest the tail form.
using row_operation = void (*)(const target_span& target, const source_span* sources, int layers, int count);

// Layers of one call share the trip of the target row. Ten layers of 1080p took 5.5 ms one by one, 4.7 in twos, 5.1 in
// threes and 5.7 in fours: from 16 rows on, the lines of one column push each other out of an 8-way cache.
constexpr int most_layers = 2;
constexpr int blend_count = 5;  // ksn::blend_type
constexpr int alpha_count = 4;  // ksn::alpha_type

struct blend_kernels {
  row_operation opaque[blend_count][alpha_count];
  row_operation scaled[blend_count][alpha_count];
  // target = the larger of both samples.
  void (*keep_larger)(uint8_t* target, const uint8_t* source, int count);
};

// One sample at a time, each operation under its formula: what the kernels are compared with.
const blend_kernels& plain_blend_kernels();
// The kernels of img::current_simd_level().
const blend_kernels& active_blend_kernels();

}  // namespace render
