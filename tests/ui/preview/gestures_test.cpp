// Which gesture a press begins, and which handle lies at which point.
#include "ui/preview/gestures.h"

#include <gtest/gtest.h>

#include "support/fake_clip.h"

namespace {

using platform::key_alt;
using platform::key_caps;
using platform::key_ctrl;
using platform::key_shift;
using platform::mouse_button;
using ui::gesture;
using ui::handle;

TEST(gestures, every_row_of_the_table) {
  constexpr int all = key_shift | key_ctrl | key_alt | key_caps;
  struct row {
    mouse_button button;
    int held, not_held;  // any other modifier may be down or up
    int selected;        // -1 for any
    int brush, over_crop, over_layer;
    gesture expected;
  };
  constexpr int any = -1;
  constexpr auto left = mouse_button::left;
  constexpr auto middle = mouse_button::middle;
  const row rows[] = {
      {left, key_caps, 0, any, any, 1, any, gesture::crop},
      {left, key_caps, 0, 0, 0, 0, any, gesture::none},
      {left, key_caps, 0, 1, any, 0, any, gesture::layers},
      {left, key_caps, 0, 3, 0, 0, any, gesture::layers},
      {left, key_alt, key_shift | key_ctrl | key_caps, any, any, any, any, gesture::pan},
      {left, 0, key_shift | key_caps | key_alt, any, 0, any, any, gesture::scrub},
      {left, key_ctrl | key_alt, key_shift | key_caps, any, 0, any, any, gesture::area},
      {left, 0, all, 1, 1, any, any, gesture::paint},
      {left, key_ctrl, key_shift | key_caps | key_alt, 1, 1, any, any, gesture::brush_size},
      {left, key_ctrl | key_alt, key_shift | key_caps, 1, 1, any, any, gesture::brush_color},
      {left, key_shift, key_caps, any, any, 1, any, gesture::crop},
      {left, key_shift, key_caps | key_alt, 1, any, 0, 1, gesture::layers},
      {left, key_shift, key_caps, 1, any, 0, 0, gesture::layers_at_point},
      {left, key_shift | key_alt, key_caps, 1, any, 0, 1, gesture::layers_at_point},
      {left, key_shift, key_caps, 0, 0, 0, any, gesture::layers_at_point},
      {left, key_shift, key_caps, 2, 0, 0, any, gesture::layers},
      {middle, key_alt, key_shift | key_ctrl, any, any, any, any, gesture::zoom},
      {middle, key_alt | key_ctrl, key_shift, any, any, any, any, gesture::zoom_at_point},
      {middle, 0, key_shift | key_alt, any, any, any, any, gesture::pan},
      {middle, key_shift, 0, any, any, 1, any, gesture::crop},
      {middle, key_shift, key_alt, 1, any, 0, 1, gesture::layers},
      {middle, key_shift, 0, 1, any, 0, 0, gesture::layers_at_point},
      {middle, key_shift, 0, 2, 0, 0, any, gesture::layers},
      {mouse_button::right, 0, 0, 1, 1, any, any, gesture::erase},
      {mouse_button::right, 0, 0, any, 0, any, any, gesture::none},
  };
  int tried = 0;
  for (const row& r : rows) {
    for (int free = 0; free < 16; ++free) {
      const int modifiers = free << 16;
      if ((modifiers & r.held) != r.held || (modifiers & r.not_held) != 0) continue;
      for (const int selected : {0, 1, 2, 3}) {
        if (r.selected != any && r.selected != selected) continue;
        for (int flags = 0; flags < 8; ++flags) {
          const bool brush = flags & 1, crop = flags & 2, layer = flags & 4;
          const auto fits = [](int wanted, bool value) { return wanted == any || (wanted == 1) == value; };
          if (!fits(r.brush, brush) || !fits(r.over_crop, crop) || !fits(r.over_layer, layer)) continue;
          if (brush && selected != 1) continue;
          ++tried;
          ASSERT_EQ(ui::choose_gesture({r.button, modifiers, selected, brush, crop, layer}), r.expected)
              << "row " << &r - rows << " modifiers " << free << " selected " << selected << " flags " << flags;
        }
      }
    }
  }
  EXPECT_GT(tried, 700);
}

// The rules told once more, a point at a time.
handle expected_handle(int width, int height, int x, int y) {
  if (width < 15 || height < 15) return {};
  const int half = (width >= 60 && height >= 60 ? 20 : width >= 30 && height >= 30 ? 10 : 5) / 2;
  using kind = handle::box_kind;
  const bool near_left = x >= -2 && x < half, near_right = x >= width - half && x < width + 2;
  const bool near_top = y >= -2 && y < half, near_bottom = y >= height - half && y < height + 2;
  if ((near_left || near_right) && (near_top || near_bottom)) return {kind::layer, near_left ? 0 : 2, near_top ? 0 : 2};
  const double from_middle_x = x + 0.5 - width / 2.0, from_middle_y = y + 0.5 - height / 2.0;
  if (std::abs(from_middle_y) <= half) {
    if (x >= -1 && x < 2) return {kind::layer, 0, 1};
    if (x >= width - 2 && x < width + 1) return {kind::layer, 2, 1};
  }
  if (std::abs(from_middle_x) <= half) {
    if (y >= -1 && y < 2) return {kind::layer, 1, 0};
    if (y >= height - 2 && y < height + 1) return {kind::layer, 1, 2};
  }
  return {};
}

TEST(gestures, handles_around_boxes_of_every_kind) {
  struct row {
    int width, height, length;  // of a handle; 0 for none
  };
  for (const row& r : {row{14, 100, 0}, row{100, 14, 0}, row{15, 15, 5}, row{29, 30, 5}, row{30, 30, 10},
                       row{60, 59, 10}, row{59, 60, 10}, row{60, 60, 20}, row{400, 300, 20}}) {
    if (r.length > 0) {
      EXPECT_EQ(ui::handle_length(r.width, r.height), r.length);
    }
    for (const int scale : {1, 2}) {
      const math::rectangle box{50, 70, 50 + r.width * scale, 70 + r.height * scale};
      int found = 0;
      for (int y = -8; y < r.height + 8; ++y) {
        for (int x = -8; x < r.width + 8; ++x) {
          const handle at = ui::find_handle(box, nullptr, {50 + x * scale, 70 + y * scale}, scale);
          found += at.of != handle::box_kind::none;
          if (scale == 1) {
            ASSERT_EQ(at, expected_handle(r.width, r.height, x, y))
                << r.width << 'x' << r.height << ' ' << x << ',' << y;
          }
        }
      }
      // Four corners, and the middle of four sides: as many points as told, at either scale.
      const int half = r.length / 2;
      const int sides = 2 * 3 * (2 * half + (r.width % 2)) + 2 * 3 * (2 * half + (r.height % 2));
      if (r.length > 0 && scale == 1) {
        EXPECT_EQ(found, 4 * (half + 2) * (half + 2) + sides) << r.width << 'x' << r.height;
      }
      EXPECT_EQ(found > 0, r.length > 0);
    }
  }
}

TEST(gestures, crop_handles_lie_around_the_crop) {
  const math::rectangle box{0, 0, 200, 200};
  const math::rectangle crop{40, 60, 120, 140};
  using kind = handle::box_kind;
  struct row {
    math::point at;
    handle expected;
  };
  const row rows[] = {{{40, 60}, {kind::crop, 0, 0}},
                      {{38, 58}, {kind::crop, 0, 0}},
                      {{42, 62}, {kind::crop, 0, 0}},
                      {{43, 63}, {}},
                      {{37, 60}, {}},
                      {{120, 60}, {kind::crop, 2, 0}},
                      {{122, 142}, {kind::crop, 2, 2}},
                      {{40, 140}, {kind::crop, 0, 2}},
                      {{38, 100}, {kind::crop, 0, 1}},
                      {{42, 70}, {kind::crop, 0, 1}},
                      {{123, 100}, {}},
                      {{80, 62}, {kind::crop, 1, 0}},
                      {{80, 142}, {kind::crop, 1, 2}},
                      {{80, 100}, {}},
                      {{0, 0}, {kind::layer, 0, 0}},
                      {{199, 100}, {kind::layer, 2, 1}}};
  for (const row& r : rows) EXPECT_EQ(ui::find_handle(box, &crop, r.at, 1), r.expected) << r.at.x << ',' << r.at.y;
  const math::rectangle whole = box;
  EXPECT_EQ(ui::find_handle(box, &whole, {0, 0}, 1), (handle{kind::layer, 0, 0})) << "the layer's own first";
  EXPECT_EQ(ui::find_handle(box, &whole, {0, 50}, 1), (handle{kind::crop, 0, 1}));
}

TEST(gestures, the_layer_under_a_point) {
  ksn::state composition;
  composition.doc.tracks.push_back(support::plain_layer(1, "BGR", 40, 20, {0, 0, 0}));
  composition.doc.tracks.push_back(support::plain_layer(1, "BGR", 1, 1, {0, 0, 0}));
  composition.doc.tracks.push_back(support::plain_layer(1, "BGR", 100, 100, {0, 0, 0}));
  composition.doc.track_at(1).placement.pos = {30, 0};
  render::frame_view view;
  view.width = view.height = 200;
  const auto at = [&](int x, int y) { return ui::layer_at(composition, view, {x, y}); };
  EXPECT_EQ(at(100, 100), 0);
  EXPECT_EQ(at(80, 90), 0);
  EXPECT_EQ(at(79, 90), 2);
  EXPECT_EQ(at(120, 100), 2) << "the end is not part of it";
  for (const int x : {129, 130, 131}) EXPECT_EQ(at(x, 100), 1) << "a pixel is widened to three";
  EXPECT_EQ(at(132, 100), 2);
  EXPECT_EQ(at(10, 10), -1);
  composition.doc.track_at(0).look.visible = false;
  EXPECT_EQ(at(100, 100), 2);
  composition.doc.selection = {0};
  EXPECT_EQ(at(100, 100), 0) << "the selected one, shown or not";
}

}  // namespace
