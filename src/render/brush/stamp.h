// What a brush leaves at one point: its coverage, and how that is painted into a canvas.
#pragma once

#include <array>
#include <cstdint>

#include "img/image.h"
#include "lib/color.h"
#include "lib/point.h"

namespace render {

struct brush_shape {
  int size = 1;      // diameter in pixels of the canvas, at least 1
  int softness = 0;  // percent: 0 is a hard disc with an edge of one pixel
  bool operator==(const brush_shape&) const = default;
};

// The coverage at a squared distance from the brush's centre, gamma-encoded by 1 / 2.2.
std::uint8_t brush_coverage(const brush_shape& shape, double squared_distance);

// The stamps of a brush for the sixteen places that its centre may have in a pixel, in steps of a quarter. Each is made
// when it is first asked for. A stamp is an image with the channel "L" at 8 bits, size + 3 pixels square, whose anchor
// lies on the pixel that holds the centre.
class brush_stamps {
 public:
  // `quarter_x` and `quarter_y` are 0 to 3. Valid until the next call with another shape.
  const img::image& stamp(const brush_shape& shape, int quarter_x, int quarter_y);

 private:
  void find_reaches(int lower, int higher);
  void fill(img::image& stamp, int quarter_x, int quarter_y) const;

  brush_shape shape_{0, 0};
  // For each coverage the largest squared distance, in sixteenths, that still has it; -1 for none.
  std::array<int, 257> reach_{};
  std::array<img::image, 16> stamps_;  // by y + 4 * x; empty where not made yet
};

// Paints a stamp into a canvas, an 8-bit BGRA picture with straight alpha, by source-over: `color` with its alpha as
// opacity. With `erase` the coverage is taken away instead and the colours stay. `corner` is where the stamp's upper
// left pixel lies; what is outside the canvas is left out.
void paint_stamp(img::image& canvas, const img::image& stamp, math::point corner, lib::color color, bool erase);

}  // namespace render
