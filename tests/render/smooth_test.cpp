// Smooth views against an average that is computed from the composite at its own size, one pixel after the other.
#include <gtest/gtest.h>

#include <cmath>

#include "render/area_average.h"
#include "render/compositor.h"
#include "support/fake_clip.h"
#include "support/levels.h"

namespace {

class smooth_test : public testing::Test {
 protected:
  smooth_test() {
    cache.memory_load = [] { return 0; };
    view.width = 64;
    view.height = 48;
    view.smooth = true;
  }

  ksn::track_info& add(std::string letters, int width, int height, unsigned seed) {
    auto clip = std::make_shared<support::fake_clip>(1, [=](int, int, img::image& image) {
      image = support::random_picture(letters, width, height, seed);
      return true;
    });
    composition.doc.tracks.push_back(
        support::clip_layer(clip, width, height, "/clips/" + std::to_string(seed) + ".avi"));
    return composition.doc.tracks.back();
  }
  img::image render(const render::frame_view& shown) {
    img::image target;
    render::render_frame(pipeline, composition, target, shown, 0.0);
    return target;
  }

  // Sets the largest distance of a plane between the smooth view and the average of the same view at 100 %.
  void expect_average(const std::string& name, double most = 0.75) {
    const img::image found = render(view);
    // Large enough for all that the view covers, with the composition's centre in the middle.
    render::frame_view plain = view;
    plain.smooth = false;
    plain.zoom_x = std::max(view.zoom_x, 1.0), plain.zoom_y = std::max(view.zoom_y, 1.0);
    plain.width = plain.height = 1400;
    plain.offset = {};
    const img::image whole = render(plain);
    const double across = plain.zoom_x / view.zoom_x;
    const double down = plain.zoom_y / view.zoom_y;
    const math::point centre{view.width / 2 + view.offset.x, view.height / 2 + view.offset.y};
    double worst = 0;
    for (int p = 0; p < 4; ++p) {
      for (int y = 0; y < view.height; ++y) {
        for (int x = 0; x < view.width; ++x) {
          const double left = (x - centre.x) * across + plain.width / 2;
          const double top = (y - centre.y) * down + plain.height / 2;
          double sum = 0;
          for (int row = static_cast<int>(std::floor(top)); row < top + down - 1e-9; ++row) {
            const double high = std::min(row + 1.0, top + down) - std::max<double>(row, top);
            for (int column = static_cast<int>(std::floor(left)); column < left + across - 1e-9; ++column) {
              const double wide = std::min(column + 1.0, left + across) - std::max<double>(column, left);
              const bool inside = row >= 0 && column >= 0 && row < whole.height && column < whole.width;
              const int below = p < 3 ? back[static_cast<std::size_t>(p)] : 0;
              sum += high * wide * (inside ? whole.row(p, row)[column] : below);
            }
          }
          worst = std::max(worst, std::abs(sum / (across * down) - found.row(p, y)[x]));
        }
      }
    }
    EXPECT_LT(worst, most) << name;
  }

  cache::frame_cache cache;
  render::pipeline pipeline{cache, {}};
  ksn::state composition;
  render::frame_view view;
  std::array<int, 3> back{};
};

TEST_F(smooth_test, is_the_average_of_the_composite) {
  composition.doc.back_color = ksn::back_color_type::custom;
  composition.doc.back_custom_color = {255, 200, 100, 50};
  back = {50, 100, 200};
  ksn::track_info& upper = add("BGRA", 150, 90, 1);
  upper.placement.pos = {13, -7};
  ksn::track_info& lower = add("BGR", 401, 233, 2);
  lower.placement.flip_x = true;
  struct look {
    const char* name;
    double zoom_x, zoom_y;
    math::point offset;
  };
  const look looks[] = {{"half", 0.5, 0.5, {}},           {"a third of it", 0.33, 0.33, {}},
                        {"nearly all", 0.99, 0.99, {}},   {"panned", 0.26, 0.26, {17, -9}},
                        {"far away", 0.07, 0.07, {3, 3}}, {"one axis only", 1.0666, 0.8, {}},
                        {"aspect", 0.32, 0.3, {-40, 20}}, {"out of sight", 0.5, 0.5, {5000, 0}}};
  for (const look& l : looks) {
    view.zoom_x = l.zoom_x, view.zoom_y = l.zoom_y, view.offset = l.offset;
    upper.look.alpha_type = ksn::alpha_type::ignore, upper.look.opacity = 100;
    expect_average(l.name);
    // A blend has two roundings, by where in its row a pixel lies: the two composites differ by a level here and there.
    upper.look.alpha_type = ksn::alpha_type::normal, upper.look.opacity = 70;
    expect_average(l.name, 2.0);
  }
  view.zoom_x = view.zoom_y = 0.4, view.offset = {};
  upper.placement.crop = true;
  upper.placement.crop_wh = {60, 40};
  view.crop_preview = true;
  composition.doc.selection = {0};
  expect_average("cropped, with what the crop cuts off", 2.0);
  lower.placement.scale_x = lower.placement.scale_y = 130;
  expect_average("scaled", 2.0);
  composition.doc.tracks.push_front({});
  ksn::track_info& adjustment = composition.doc.tracks.front();
  adjustment.id = 99;
  adjustment.source.type = ksn::source_type::adjustment;
  adjustment.source.frames = 1;
  adjustment.source.width = 90, adjustment.source.height = 70;
  adjustment.look.visible = true;
  adjustment.look.tf.exposure.fill(-100);
  expect_average("adjusted", 2.0);
}

TEST_F(smooth_test, at_full_size_and_above_it_is_the_plain_view) {
  add("BGR", 50, 40, 3);
  for (const double zoom : {1.0, 1.5, 8.0}) {
    view.zoom_x = view.zoom_y = zoom;
    render::frame_view plain = view;
    plain.smooth = false;
    EXPECT_EQ(support::differing_plane(render(view), render(plain)), -1) << zoom;
  }
}

// The same bytes on every machine and with any number of threads; depth where it is shown; lines one pixel wide.
TEST_F(smooth_test, same_bytes_everywhere) {
  ksn::track_info& track = add("BGRAZ", 301, 203, 4);
  track.look.alpha_type = ksn::alpha_type::normal;
  view.zoom_x = view.zoom_y = 0.17;
  view.channels = ksn::view_type::depth;
  const img::image depth = render(view);
  EXPECT_NE(depth.row(0, 24)[32], 0);
  view.channels = ksn::view_type::rgb;
  const img::image first = render(view);
  support::every_level([&](const char* level) {
    support::every_thread_count(
        [&](int threads) { EXPECT_EQ(support::differing_plane(first, render(view)), -1) << level << ' ' << threads; });
  });
  track.placement.border = true;
  track.placement.border_color = {255, 1, 2, 3};
  const img::image lined = render(view);
  int line = 0;
  for (int x = 0; x < view.width; ++x) line += lined.row(2, 24)[x] == 1 && lined.row(1, 24)[x] == 2;
  EXPECT_EQ(line, 2);
}

TEST_F(smooth_test, eyes_are_averaged_before_they_meet) {
  add("BGR", 64, 48, 5).look.target_view = ksn::target_view_type::left;
  add("BGR", 64, 48, 6).look.target_view = ksn::target_view_type::right;
  view.zoom_x = view.zoom_y = 0.5;
  const img::image left = render(view);
  view.eyes = ksn::target_view_type::right;
  const img::image right = render(view);
  view.eyes = ksn::target_view_type::both;
  view.stereo_mode = ksn::stereo_view_type::interlaced;
  const img::image both = render(view);
  for (int y = 12; y < 36; ++y) {
    for (int x = 16; x < 48; ++x) EXPECT_EQ(both.row(1, y)[x], (y % 2 == 0 ? right : left).row(1, y)[x]);
  }
}

TEST(area_axis, every_span_has_the_same_weight_and_lies_in_the_row) {
  for (const double length : {1.0, 1.0101, 2.0, 2.5, 3.7037037, 100.0, 249.9}) {
    const int count = 37;
    const int size = static_cast<int>(std::ceil(count * length));
    const render::area_axis axis = render::make_area_axis(0, length, count, size);
    for (const render::area_span& span : axis.spans) {
      const int whole = std::max(span.last - span.first - 1, 0);
      EXPECT_EQ(span.first_weight + 4096u * static_cast<unsigned>(whole) + span.last_weight, axis.total) << length;
      EXPECT_TRUE(span.first >= 0 && span.last < size && span.first <= span.last) << length;
    }
  }
}

}  // namespace
