#include "img/formats/shared/orientation.h"

#include <algorithm>
#include <utility>

#include "lib/parallel.h"

namespace img {
namespace {

// Sample (x, y) of the upright plane, of size width x height, is sample (x, y) of the file turned back.
template <class Sample>
void turn(plane& target, const plane& source, int width, int height, int orientation) {
  const bool sides = swaps_sides(orientation);
  const std::ptrdiff_t file_width = sides ? height : width;
  const std::ptrdiff_t file_height = sides ? width : height;
  const bool from_right = orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8;
  const bool from_bottom = orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;
  const Sample* first = source.as<Sample>();
  std::ptrdiff_t along_file_row = 1, along_file_column = file_width;
  if (from_right) {
    first += file_width - 1;
    along_file_row = -1;
  }
  if (from_bottom) {
    first += (file_height - 1) * file_width;
    along_file_column = -file_width;
  }
  const std::ptrdiff_t step_x = sides ? along_file_column : along_file_row;
  const std::ptrdiff_t step_y = sides ? along_file_row : along_file_column;
  // In squares, so that both sides stay in the processor's cache while columns become rows.
  constexpr int side = 32;
  lib::parallel_rows((height + side - 1) / side, static_cast<long long>(width) * height, [&](int begin, int end) {
    for (int top = begin * side; top < std::min(end * side, height); top += side) {
      for (int left = 0; left < width; left += side) {
        for (int y = top; y < std::min(top + side, height); ++y) {
          Sample* out = target.as<Sample>() + static_cast<std::ptrdiff_t>(y) * width;
          const Sample* in = first + y * step_y;
          for (int x = left; x < std::min(left + side, width); ++x) out[x] = in[x * step_x];
        }
      }
    }
  });
}

}  // namespace

void apply_orientation(image& image, int orientation) {
  if (orientation < 2 || orientation > 8) return;
  if (swaps_sides(orientation)) std::swap(image.width, image.height);
  for (int p = 0; p < image::max_planes; ++p) {
    if (!image.has_plane(p)) continue;
    plane upright(image.data[p].size());
    switch (image.depth[p]) {
      case 8:
        turn<std::uint8_t>(upright, image.data[p], image.width, image.height, orientation);
        break;
      case 16:
        turn<std::uint16_t>(upright, image.data[p], image.width, image.height, orientation);
        break;
      default:
        turn<std::uint32_t>(upright, image.data[p], image.width, image.height, orientation);
    }
    image.data[p].swap(upright);
  }
  image.set_centre_anchor();
}

}  // namespace img
