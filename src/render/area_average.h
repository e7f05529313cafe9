// The average of the area that each pixel of a smaller picture covers, in integers, so that every machine gives the
// same bytes. It is off by less than one level.
#pragma once

#include <vector>

#include "img/image.h"
#include "lib/rectangle.h"
#include "render/area_span.h"

namespace render {

// One axis: a span for each target sample; all have the same sum of weights.
struct area_axis {
  std::vector<area_span> spans;
  std::uint32_t total = 0;  // 4096ths of a sample
};

constexpr int most_area_samples = 250;  // along one axis, that one target sample may cover

// `count` spans of `length` samples (1 to most_area_samples) that follow one another from `start` on, in a row of
// `size` samples.
area_axis make_area_axis(double start, double length, int count, int size);

// Averages `source` into rows `first_row` to `last_row` - 1 of `target` from column `left` on. Row r of the target
// takes span r - `top` of `down`, whose samples count from row `source_row` of the whole; `source` begins there. Planes
// of bytes that both pictures have. On the calling thread.
struct area_place {
  int left = 0;
  int top = 0;
  int source_row = 0;
};
void average_area(img::image& target, const img::image& source, const area_axis& across, const area_axis& down,
                  const area_place& place, int first_row, int last_row);

}  // namespace render
