#include <algorithm>
#include <cmath>

#include "render/pipeline.h"

namespace render {
namespace {

constexpr double largest = 1 << 28;

int scaled(double percent, double aspect, double zoom) {
  return limited(std::min(std::rint(percent * aspect / 100.0 * 1000.0 * zoom), largest / 4));
}

}  // namespace

int limited(double value) {
  return static_cast<int>(std::clamp(value, -largest, largest));
}

int reduction_of(ksn::cache_resolution_type resolution) {
  switch (resolution) {
    case ksn::cache_resolution_type::full:
      return 1;
    case ksn::cache_resolution_type::half:
      return 2;
    case ksn::cache_resolution_type::quarter:
      return 4;
  }
  return 1;
}

layer_geometry layer_scale(const ksn::track_info& track, double zoom_x, double zoom_y,
                           ksn::cache_resolution_type resolution) {
  layer_geometry scale;
  const int factor = track.source.is_decoded() && !track.source.disable_cache ? reduction_of(resolution) : 1;
  scale.num_x = scaled(track.placement.scale_x, track.placement.aspect, zoom_x) * factor;
  scale.num_y = scaled(track.placement.scale_y, 1.0, zoom_y) * factor;
  return scale;
}

rectangle crop_rect(const ksn::track_info& track) {
  const long long sx = scaled(track.placement.scale_x, track.placement.aspect, 1.0);
  const long long sy = scaled(track.placement.scale_y, 1.0, 1.0);
  const long long width = track.placement.crop_wh.x > 0 ? track.placement.crop_wh.x : track.source.width;
  const long long height = track.placement.crop_wh.y > 0 ? track.placement.crop_wh.y : track.source.height;
  const long long left = track.placement.crop_xy.x - width / 2;
  const long long top = track.placement.crop_xy.y - height / 2;
  const auto at = [](long long product) { return limited(static_cast<double>(product / 1000)); };
  return {at(left * sx), at(top * sy), at((left + width) * sx), at((top + height) * sy)};
}

}  // namespace render
