#include <gtest/gtest.h>

#include "render/pipeline.h"

namespace {

using ksn::cache_resolution_type;
using ksn::source_type;

TEST(geometry, layer_scale) {
  constexpr auto full = cache_resolution_type::full;
  constexpr auto half = cache_resolution_type::half;
  constexpr auto quarter = cache_resolution_type::quarter;
  const struct {
    source_type type;
    bool direct;
    cache_resolution_type resolution;
    int scale_x, scale_y;
    double aspect, zoom_x, zoom_y;
    int num_x, num_y;
  } cases[] = {
      {source_type::sequence, false, full, 100, 100, 1.0666667, 1.0, 1.0, 1067, 1000},
      {source_type::image, false, full, 33, 33, 1.4587, 0.5, 2.0, 241, 660},  // 240.6855
      {source_type::r3d, false, quarter, 10, 10, 1.0, 1.0, 0.5, 400, 200},
      {source_type::avi, false, quarter, 33, 100, 1.4587, 0.5, 1.0, 964, 4000},  // 4 times the rounded 241
      {source_type::image, true, quarter, 100, 100, 1.0, 1.0, 1.0, 1000, 1000},
      {source_type::text, false, quarter, 100, 100, 1.0, 1.0, 1.0, 1000, 1000},
      {source_type::clipboard_image, false, half, 100, 100, 1.0, 1.0, 1.0, 1000, 1000},
  };
  for (const auto& c : cases) {
    ksn::track_info track;
    track.source.type = c.type;
    track.source.disable_cache = c.direct;
    track.placement.scale_x = c.scale_x;
    track.placement.scale_y = c.scale_y;
    track.placement.aspect = c.aspect;
    const render::layer_geometry scale = render::layer_scale(track, c.zoom_x, c.zoom_y, c.resolution);
    EXPECT_EQ(scale.num_x, c.num_x) << &c - cases;
    EXPECT_EQ(scale.num_y, c.num_y) << &c - cases;
    EXPECT_EQ(scale.den_x, 1000);
    EXPECT_EQ(scale.den_y, 1000);
  }
}

TEST(geometry, crop_rect) {
  const struct {
    math::point centre, size;
    int scale_x, scale_y;
    double aspect;
    render::rectangle expected;
  } cases[] = {
      {{0, 0}, {100, 60}, 100, 100, 1.0, {-50, -30, 50, 30}},
      {{10, -5}, {100, 60}, 100, 100, 1.0, {-40, -35, 60, 25}},
      {{0, 0}, {101, 61}, 100, 100, 1.0, {-50, -30, 51, 31}},
      {{0, 0}, {100, 60}, 50, 200, 1.0, {-25, -60, 25, 60}},
      {{0, 0}, {3, 3}, 50, 50, 1.0, {0, 0, 1, 1}},  // -1 / 2 and 2 / 2 toward zero
      {{0, 0}, {0, -1}, 100, 100, 2.0, {-640, -180, 640, 180}},
  };
  for (const auto& c : cases) {
    ksn::track_info track;
    track.source.width = 640;
    track.source.height = 360;
    track.placement.crop_xy = c.centre;
    track.placement.crop_wh = c.size;
    track.placement.scale_x = c.scale_x;
    track.placement.scale_y = c.scale_y;
    track.placement.aspect = c.aspect;
    EXPECT_EQ(render::crop_rect(track), c.expected) << &c - cases;
  }
}

}  // namespace
