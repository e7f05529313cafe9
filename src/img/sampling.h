// The nearest-neighbour sampler that every resize of the system goes through, and the size reduction of the cache.
#pragma once

#include <cstdint>

#include "img/image.h"

namespace img {

// How one axis of a picture is stretched: `num`/`den` is the scale, `size` the source size in samples.
struct axis_scale {
  int num = 1000;
  int den = 1000;
  int size = 0;
  bool flip = false;  // mirrors the sampled index

  int scaled_size() const { return static_cast<int>(static_cast<long long>(size) * num / den); }
  // Source column of target column x: (step * x) >> 16 with step = rint(den * 65536 / num), clamped to the source.
  int column(int x) const;
  // Source row of target row y: y * den / num by integer division, clamped to the source.
  int row(int y) const;
};

// Writes source columns of target columns first to last - 1 to `out`, for one row of 8-bit samples.
void sample_row(std::uint8_t* out, const std::uint8_t* source, const axis_scale& x, int first, int last);

// Keeps the top left sample of each factor x factor block; `factor` is 2 or 4. Sizes round up, the anchor is divided.
void reduce(image& image, int factor);

}  // namespace img
