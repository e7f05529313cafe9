// Masks, safe areas and grid over a shown picture, counted by hand.
#include "render/marks.h"

#include <gtest/gtest.h>

#include <set>

#include "render/places.h"
#include "support/fake_clip.h"

namespace {

using math::rectangle;

class marks_test : public testing::Test {
 protected:
  // A layer larger than every view, of blue 40, green 100, red 200, and an output of 20 by 12.
  marks_test() {
    composition.doc.tracks.push_back(support::plain_layer(1, "BGR", 400, 400, {40, 100, 200}));
    composition.doc.mask_size = {20, 12};
    composition.doc.back_color = ksn::back_color_type::custom;
    composition.doc.back_custom_color = {255, 7, 8, 9};
    view.width = 60;
    view.height = 40;
    view.for_display = true;
  }
  img::image render() {
    img::image target;
    render::render_frame(pipeline, composition, target, view, 0);
    return target;
  }
  static int red(const img::image& picture, int x, int y) { return picture.row(2, y)[x]; }
  // The box that holds every pixel whose red is `value`, and whether all of its pixels have it.
  static rectangle box_of(const img::image& picture, int value) {
    rectangle box{picture.width, picture.height, 0, 0};
    int count = 0;
    for (int y = 0; y < picture.height; ++y) {
      for (int x = 0; x < picture.width; ++x) {
        if (red(picture, x, y) != value) continue;
        ++count;
        box = {std::min(box.left, x), std::min(box.top, y), std::max(box.right, x + 1), std::max(box.bottom, y + 1)};
      }
    }
    EXPECT_EQ(count, (box.right - box.left) * (box.bottom - box.top)) << value;
    return box;
  }

  cache::frame_cache cache;
  render::pipeline pipeline{cache, {}};
  ksn::state composition;
  render::frame_view view;
};

TEST_F(marks_test, masks_keep_the_output) {
  using enum ksn::mask_type_t;
  struct row {
    const char* what;
    ksn::mask_type_t mask;
    double zoom;
    math::point offset;
    rectangle inside;
    int outside;  // red
  };
  const row rows[] = {{"none", none, 1, {}, {0, 0, 60, 40}, 200},
                      {"dark outside", transparent, 1, {}, {20, 14, 40, 26}, 100},
                      {"zoomed", transparent, 2, {}, {10, 8, 50, 32}, 100},
                      {"panned", transparent, 1, {-5, 3}, {15, 17, 35, 29}, 100},
                      {"past the edges", transparent, 4, {}, {0, 0, 60, 40}, 100},
                      {"out of sight", transparent, 1, {200, 0}, {60, 40, 0, 0}, 3},
                      {"cut", crop, 1, {}, {20, 14, 40, 26}, 7},
                      {"cut and framed", crop_safe, 1, {}, {20, 14, 40, 26}, 7}};
  const rectangle whole{0, 0, 60, 40};
  for (const row& r : rows) {
    view.marks.mask = r.mask;
    view.zoom_x = view.zoom_y = r.zoom;
    view.offset = r.offset;
    const img::image picture = render();
    const bool everywhere = r.inside == whole;
    if (!r.inside.empty()) {
      EXPECT_EQ(box_of(picture, 200), r.inside) << r.what;
    }
    EXPECT_EQ(red(picture, 0, 0), everywhere ? 200 : r.outside) << r.what;
    if (r.mask == crop || r.mask == crop_safe) {
      const int beside = r.mask == crop_safe ? render::mask_frame_color.r : r.outside;
      EXPECT_EQ(red(picture, 19, 13), beside) << r.what;
      EXPECT_EQ(red(picture, 40, 26), beside) << r.what;
      EXPECT_EQ(red(picture, 18, 13), r.outside) << r.what;
    }
  }
  view.zoom_x = view.zoom_y = 1;
  view.offset = {};
  view.marks.mask = crop;
  composition.doc.back_color = ksn::back_color_type::transparent;
  std::set<int> checker;
  const img::image picture = render();
  for (int x = 0; x < 60; ++x) checker.insert(red(picture, x, 2));
  EXPECT_EQ(checker, (std::set<int>{102, 153}));
}

TEST_F(marks_test, a_mask_follows_the_selected_layer) {
  ksn::track_info& track = composition.doc.track_at(0);
  track.placement.pos = {6, -4};
  track.placement.scale_x = 200;
  track.placement.scale_y = 50;
  view.marks.mask = ksn::mask_type_t::transparent;
  EXPECT_EQ(render::output_place(composition, view), (rectangle{20, 14, 40, 26}));
  view.marks.mask_follows_layer = true;
  EXPECT_EQ(render::output_place(composition, view), (rectangle{20, 14, 40, 26})) << "nothing is selected";
  composition.doc.selection = {0};
  EXPECT_EQ(render::output_place(composition, view), (rectangle{16, 13, 56, 19}));
  view.zoom_x = view.zoom_y = 2;
  EXPECT_EQ(render::output_place(composition, view), (rectangle{2, 6, 82, 18}));
}

TEST_F(marks_test, safe_areas_and_grid) {
  composition.doc.mask_size = {200, 100};
  view.width = 300;
  view.height = 200;
  struct row {
    ksn::safe_area_type_t type;
    int red;
  };
  for (const row& r : {row{ksn::safe_area_type_t::blue, 75}, row{ksn::safe_area_type_t::orange, 251}}) {
    view.marks = {.safe_area = r.type};
    const img::image picture = render();
    // The output is 50,50 to 250,150; 80 % of it 70,60 to 230,140 and 90 % 60,55 to 240,145.
    for (const math::point on : {math::point{70, 80},
                                 {229, 80},
                                 {100, 60},
                                 {100, 139},
                                 {60, 80},
                                 {239, 80},
                                 {100, 55},
                                 {100, 144},
                                 {50, 50},
                                 {249, 149},
                                 {150, 100}})
      EXPECT_EQ(red(picture, on.x, on.y), r.red) << on.x << ',' << on.y;
    for (const math::point off : {math::point{71, 80}, {69, 80}, {90, 100}, {50, 100}, {150, 50}, {0, 0}})
      EXPECT_EQ(red(picture, off.x, off.y), 200) << off.x << ',' << off.y;
  }
  view.marks = {.grid = true};
  const int lit = 200 + 55 * 102 / 255;
  img::image picture = render();
  EXPECT_EQ(red(picture, 50 + 66, 60), lit);
  EXPECT_EQ(red(picture, 50 + 133, 60), lit);
  EXPECT_EQ(red(picture, 60, 50 + 33), lit);
  EXPECT_EQ(red(picture, 60, 50 + 66), lit);
  EXPECT_EQ(red(picture, 60, 60), 200);
  EXPECT_EQ(red(picture, 116, 40), 200) << "outside of the output";
  for (const double zoom : {7.99, 8.0}) {
    view.zoom_x = view.zoom_y = zoom;
    picture = render();
    int lines = 0;
    for (int x = 0; x < 300; ++x) lines += red(picture, x, 101) != 200;
    // A third would lie at 66 composition pixels from the left, which this view does not show.
    EXPECT_EQ(lines, zoom < 8 ? 0 : 37) << "every eighth from 6 on";
  }
}

}  // namespace
