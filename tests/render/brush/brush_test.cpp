// Stamps against their formula, and strokes by where their stamps lie.
#include <gtest/gtest.h>

#include <cmath>

#include "render/brush/stroke.h"
#include "support/levels.h"
#include "support/pictures.h"

namespace {

// Coverage as the formula has it, written once more.
int coverage(int size, int softness, double d2) {
  const double s = softness / 100.0;
  const double R = (size + 1) * 0.5;
  if (d2 >= R * R) return 0;
  double v = 0;
  if (s < 0.5) {
    const int m = static_cast<int>(R * s * 2 + 1);
    if ((R - m) * (R - m) >= d2) return 255;
    const double t = (R - std::sqrt(d2)) / m;
    v = t - (t - 0.5) * (t * 2) * (t - 1);
  } else {
    const double a = s * 2 - 1;
    const double u = 1 - std::sqrt(d2) / R;
    const double w = u - (u - 0.5) * (u * 2) * (u - 1);
    v = std::pow(w, a * 4 + 1);
  }
  return static_cast<int>(std::pow(v, 0.45454545454545453) * 255.99);
}

TEST(brush_stamp, every_pixel_is_the_formula) {
  render::brush_stamps stamps;
  for (const int size : {1, 2, 3, 7, 20, 65}) {
    for (const int softness : {0, 1, 30, 49, 50, 75, 100}) {
      for (int q = 0; q < 16; ++q) {
        const int qx = q / 4;
        const int qy = q % 4;
        const img::image& stamp = stamps.stamp({size, softness}, qx, qy);
        ASSERT_EQ(stamp.width, size + 3);
        ASSERT_EQ(stamp.height, size + 3);
        ASSERT_EQ(stamp.user[0], (math::point{size / 2 + 1, size / 2 + 1}));
        for (int row = 0; row < stamp.height; ++row) {
          for (int column = 0; column < stamp.width; ++column) {
            const double dx = column - size / 2 - 0.5 - qx * 0.25;
            const double dy = row - size / 2 - 0.5 - qy * 0.25;
            ASSERT_EQ(stamp.row(0, row)[column], coverage(size, softness, dx * dx + dy * dy))
                << size << ' ' << softness << ' ' << q << ' ' << column << ' ' << row;
          }
        }
      }
    }
  }
  // A radius of 1, as soft as can be: something in the centre alone.
  const img::image& dot = stamps.stamp({1, 100}, 2, 2);
  EXPECT_GT(dot.row(0, 1)[1], 0);
  EXPECT_EQ(dot.row(0, 0)[1] + dot.row(0, 1)[0] + dot.row(0, 3)[3], 0);
}

TEST(brush_stamp, source_over_with_straight_alpha) {
  support::every_level([](const char* level) {
    // Every coverage over every alpha.
    img::image stamp("L", 8, 256, 1);
    for (int x = 0; x < 256; ++x) stamp.row(0, 0)[x] = static_cast<std::uint8_t>(x);
    for (int below = 0; below < 256; below += 5) {
      img::image canvas = support::picture("BGRA", 256, 1, {10, 200, 100, below});
      render::paint_stamp(canvas, stamp, {0, 0}, {200, 255, 0, 50}, false);
      for (int x = 0; x < 256; ++x) {
        const double own = std::rint(x * 200 / 255.0) / 255;
        const double all = own + below / 255.0 * (1 - own);
        ASSERT_NEAR(canvas.row(3, 0)[x], all * 255, 1.0) << level;
        if (own == 0) continue;
        const double weight = own / all;
        ASSERT_NEAR(canvas.row(2, 0)[x], 100 + (255 - 100) * weight, 3.0) << level << ' ' << x << ' ' << below;
        ASSERT_NEAR(canvas.row(1, 0)[x], 200 - 200 * weight, 3.0) << level;
        ASSERT_NEAR(canvas.row(0, 0)[x], 10 + 40 * weight, 3.0) << level;
      }
      img::image erased = support::picture("BGRA", 256, 1, {10, 200, 100, below});
      render::paint_stamp(erased, stamp, {0, 0}, {255, 255, 0, 50}, true);
      for (int x = 0; x < 256; ++x) {
        ASSERT_NEAR(erased.row(3, 0)[x], below * (1 - x / 255.0), 1.0) << level;
        ASSERT_EQ(erased.row(2, 0)[x], 100);
      }
    }
  });
}

class stroke_test : public testing::Test {
 public:
  stroke_test() {
    composition.doc.mask_size = {200, 100};
    composition.new_brush_layer();
    composition.workspace.brush_size = 1;
    composition.workspace.brush_softness = 0;
    composition.workspace.brush_spacing = 1000;  // 10 pixels of the screen
    view.width = 200;
    view.height = 100;
  }
  std::unique_ptr<render::brush_stroke> begin(double x, double y, bool erase = false, double pressure = 1.0) {
    return render::brush_stroke::begin(composition, stamps, view, {x, y}, erase, pressure);
  }
  ksn::track_info& layer() { return composition.doc.track_at(0); }
  const img::image& canvas() { return *layer().source.brush_image; }
  // The columns of a row that hold something.
  std::vector<int> painted(int y) {
    std::vector<int> columns;
    for (int x = 0; x < canvas().width; ++x) {
      if (canvas().row(3, y)[x] > 100) columns.push_back(x);
    }
    return columns;
  }

  ksn::state composition;
  render::brush_stamps stamps;
  render::frame_view view;
};

TEST_F(stroke_test, stamps_lie_at_even_steps_and_no_way_is_lost) {
  auto stroke = begin(20.5, 50.5);
  ASSERT_TRUE(stroke);
  EXPECT_EQ(painted(50), (std::vector{20}));
  // Nine pixels are less than a step; they count with what follows.
  stroke->extend(view, {29.5, 50.5});
  EXPECT_EQ(painted(50), (std::vector{20}));
  stroke->extend(view, {30.5, 50.5});
  EXPECT_EQ(painted(50), (std::vector{20, 30}));
  for (double x = 33.5; x < 120; x += 7) stroke->extend(view, {x, 50.5});
  stroke->end();
  std::vector<int> every_ten;
  for (int x = 20; x <= 110; x += 10) every_ten.push_back(x);
  EXPECT_EQ(painted(50), every_ten);
}

// The same curve as the formula has it, from a bend that is long enough to leave the straight line.
TEST_F(stroke_test, bends_are_curves) {
  composition.workspace.brush_spacing = 3000;
  auto stroke = begin(20.5, 20.5);
  stroke->extend(view, {80.5, 20.5});
  stroke->extend(view, {80.5, 80.5});
  // Half way of the second part: (last + end) / 2 + (incoming - way) / 8.
  const int x = static_cast<int>(80.5 + 60 / 8.0);
  const int y = static_cast<int>(50.5 - 60 / 8.0);
  const std::vector<int> found = painted(y);
  EXPECT_LE(found.size(), 2u);
  EXPECT_EQ(std::count(found.begin(), found.end(), x), 1);
}

TEST_F(stroke_test, lands_under_the_pointer_whatever_the_view_and_the_layer) {
  struct situation {
    const char* name;
    std::function<void(stroke_test&)> change;
    math::pointd at;
    math::point found;
  };
  const situation situations[] = {
      {"plain", [](stroke_test&) {}, {120.5, 30.5}, {120, 30}},
      {"zoom and pan",
       [](stroke_test& t) {
         t.view.zoom_x = t.view.zoom_y = 2, t.view.offset = {10, -6};
       },
       {121, 55},
       {105, 55}},
      {"placement",
       [](stroke_test& t) {
         t.layer().placement.pos = {-20, 5}, t.layer().placement.scale_x = 200;
       },
       {101, 50.5},
       {110, 45}},
      {"flip", [](stroke_test& t) { t.layer().placement.flip_x = true; }, {120.5, 30.5}, {79, 30}},
  };
  for (const situation& s : situations) {
    const ksn::track_info before = layer();
    view = {};
    view.width = 200;
    view.height = 100;
    s.change(*this);
    auto stroke = begin(s.at.x, s.at.y);
    ASSERT_TRUE(stroke) << s.name;
    EXPECT_EQ(painted(s.found.y), (std::vector{s.found.x})) << s.name;
    stroke->cancel();
    EXPECT_FALSE(layer().source.brush_image) << s.name;
    layer() = before;
  }
}

TEST_F(stroke_test, undo_redo_and_cancel) {
  composition.workspace.brush_size = 9;
  begin(50, 50)->end();
  const img::image first = canvas();
  begin(90, 50, true)->end();
  auto third = begin(52, 50, true);
  third->extend(view, {80, 50});
  EXPECT_GT(support::differing_plane(canvas(), first), -1);
  const auto step = composition.undo_stack;
  third->cancel();
  EXPECT_EQ(support::differing_plane(canvas(), first), -1);
  EXPECT_EQ(composition.undo_stack, step);
  begin(52, 50, true)->end();
  const img::image erased = canvas();
  composition.undo();
  EXPECT_EQ(support::differing_plane(canvas(), first), -1);
  composition.undo();
  EXPECT_EQ(support::differing_plane(canvas(), erased), -1);
}

TEST_F(stroke_test, what_paints_nothing_is_no_step) {
  begin(50, 50, true)->end();
  EXPECT_FALSE(layer().source.brush_image) << "nothing to erase";
  composition.workspace.brush_size = 9;
  for (const bool painted_before : {false, true}) {
    if (painted_before) begin(50, 50)->end();
    const auto step = composition.undo_stack;
    for (const math::pointd at : {math::pointd{-7, 50}, {50, 107}, {206, 50}, {-1e7, 4e9}}) {
      auto stroke = begin(at.x, at.y);
      stroke->extend(view, {at.x, at.y - 30});
      stroke->end();
      EXPECT_EQ(composition.undo_stack, step) << at.x << ' ' << at.y;
      EXPECT_EQ(layer().source.brush_image != nullptr, painted_before) << at.x << ' ' << at.y;
    }
  }
}

TEST_F(stroke_test, is_taken_back_whatever_is_selected_meanwhile) {
  auto stroke = begin(50, 50);
  composition.new_text_layer();
  stroke->cancel();
  EXPECT_FALSE(composition.doc.track_at(1).source.brush_image);
  composition.layer_delete_all();
  composition.new_brush_layer();
  stroke = begin(50, 50);
  composition.layer_delete_all();
  stroke->cancel();
}

TEST_F(stroke_test, a_sequence_has_a_canvas_for_each_frame_that_was_painted_on) {
  composition.new_brush_sequence_layer(5);
  layer().timing.begin = 0;
  composition.doc.tm_t = 3.0;
  begin(50, 50)->end();
  ASSERT_EQ(layer().source.brush_seq.size(), 1u);
  EXPECT_EQ(layer().source.brush_seq.begin()->first, 3);
  composition.undo();
  EXPECT_TRUE(layer().source.brush_seq.empty());
  composition.undo();
  EXPECT_EQ(layer().source.brush_seq.size(), 1u);
  composition.doc.tm_t = 9.0;  // past the end: the last frame
  begin(50, 50)->end();
  EXPECT_TRUE(layer().source.brush_seq.contains(4));
  layer().timing.begin = 20;
  EXPECT_FALSE(begin(50, 50));
  composition.doc.selection.clear();
  EXPECT_FALSE(begin(50, 50));
}

TEST_F(stroke_test, pressure_changes_size_or_opacity) {
  composition.workspace.brush_size = 20;
  composition.workspace.brush_pressure = ksn::brush_pressure_type::size;
  auto sized = begin(60, 50, false, 0.5);
  EXPECT_NEAR(static_cast<double>(painted(50).size()), 10, 1);
  sized->cancel();
  composition.workspace.brush_pressure = ksn::brush_pressure_type::opacity;
  auto faint = begin(60, 50, false, 0.5);
  EXPECT_NEAR(canvas().row(3, 50)[60], 128, 1);
  faint->cancel();
  composition.workspace.brush_pressure = ksn::brush_pressure_type::none;
  begin(60, 50, false, 0.1);
  EXPECT_EQ(canvas().row(3, 50)[60], 255);
}

TEST(brush_size, follows_the_drag_within_its_bounds) {
  EXPECT_EQ(render::dragged_brush({20, 30}, {7, -5}), (render::brush_shape{27, 25}));
  EXPECT_EQ(render::dragged_brush({20, 30}, {-70, 500}), (render::brush_shape{1, 100}));
}

}  // namespace
