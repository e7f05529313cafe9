#include "render/stereo.h"

#include <cstring>

#include "lib/parallel.h"
#include "render/plane_kernels.h"

namespace render {
namespace {

constexpr int red_weight = 76;
constexpr int green_weight = 150;

bool in_both(const img::image& a, const img::image& b, int plane) {
  return a.has_plane(plane) && b.has_plane(plane);
}

}  // namespace

void merge_stereo(img::image& target, const img::image& other, ksn::stereo_view_type mode, int phase) {
  const plane_kernels& rows = active_plane_kernels();
  const auto width = static_cast<std::size_t>(target.width);
  const auto merge_row = [&](int y) {
    switch (mode) {
      case ksn::stereo_view_type::anaglyph:
        rows.lerp(target.row(2, y), other.row(0, y), other.row(1, y), width, red_weight);
        break;
      case ksn::stereo_view_type::interlaced:
        if (y % 2 != 0) break;
        for (int plane = 0; plane < img::image::max_planes; ++plane) {
          if (in_both(target, other, plane)) std::memcpy(target.row(plane, y), other.row(plane, y), width);
        }
        break;
      case ksn::stereo_view_type::checkerboard:
        for (int plane = 0; plane < img::image::max_planes; ++plane) {
          if (in_both(target, other, plane)) {
            rows.interleave(target.row(plane, y), other.row(plane, y), width, (y + phase) & 1);
          }
        }
        break;
      case ksn::stereo_view_type::anaglyph_gm:
        for (const int plane : {0, 2}) {
          rows.lerp(target.row(plane, y), other.row(1, y), target.row(plane, y), width, green_weight);
        }
        break;
    }
  };
  lib::parallel_rows(target.height, 1LL * target.width * target.height, [&](int top, int bottom) {
    for (int y = top; y < bottom; ++y) merge_row(y);
  });
}

}  // namespace render
