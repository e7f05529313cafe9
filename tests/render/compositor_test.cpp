#include "render/compositor.h"

#include <gtest/gtest.h>

#include <climits>

#include "support/levels.h"
#include "support/pictures.h"

namespace {

using ksn::alpha_type;
using ksn::blend_type;
using ksn::depth_blend_type;
using ksn::source_type;

class compositor_test : public testing::Test {
 protected:
  // Puts a layer on top of those before. The record may be changed until the next one is added.
  ksn::track_info& add(img::image picture) {
    ksn::track_info track;
    track.source.type = source_type::image;
    track.source.width = picture.width;
    track.source.height = picture.height;
    track.look.visible = true;
    add_record(track, std::make_shared<img::image>(std::move(picture)));
    return composition.doc.tracks.front();
  }
  ksn::track_info& add_adjustment(int width, int height, img::const_image_ptr alpha = nullptr) {
    ksn::track_info track;
    track.source.type = source_type::adjustment;
    track.source.width = width;
    track.source.height = height;
    // A hundred stops down: black wherever it works.
    track.look.tf.exposure = {-10000, -10000, -10000};
    add_record(track, alpha);
    return composition.doc.tracks.front();
  }
  void add_record(const ksn::track_info& track, img::const_image_ptr picture) {
    composition.doc.tracks.insert(composition.doc.tracks.begin(), track);
    for (render::prepared_layer& layer : layers) ++layer.index;
    render::prepared_layer layer;
    layer.image = std::move(picture);
    layer.opacity = 100;
    layers.push_back(layer);
  }

  void clear() {
    composition.doc.tracks.clear();
    layers.clear();
  }
  img::image render(int width, int height, std::vector<int> below = {0, 0, 0, 0, 0}) {
    img::image target = support::picture("BGRAZ", width, height, below);
    render::render_stereo_pair(&target, nullptr, composition, layers, view);
    return target;
  }

  ksn::state composition;
  std::vector<render::prepared_layer> layers;
  render::frame_view view;
};

// The columns and rows where a plane holds `value`, as left, top, right, bottom; fails when they are no rectangle.
render::rectangle where(const img::image& image, int plane, int value) {
  render::rectangle box{image.width, image.height, 0, 0};
  int count = 0;
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width; ++x) {
      if (image.row(plane, y)[x] != value) continue;
      box = {std::min(box.left, x), std::min(box.top, y), std::max(box.right, x + 1), std::max(box.bottom, y + 1)};
      ++count;
    }
  }
  EXPECT_EQ(count, count > 0 ? (box.right - box.left) * (box.bottom - box.top) : 0);
  return box;
}

std::string text(const render::rectangle& box) {
  return std::to_string(box.left) + "," + std::to_string(box.top) + " " + std::to_string(box.right) + "," +
         std::to_string(box.bottom);
}

TEST_F(compositor_test, place_and_size) {
  const struct {
    math::point pos, offset;
    double zoom_x, zoom_y;
    int scale_x, scale_y;
    double aspect;
    ksn::cache_resolution_type resolution;
    const char* expected;
  } cases[] = {
      {{0, 0}, {0, 0}, 1, 1, 100, 100, 1, {}, "7,6 13,10"},
      {{3, -2}, {0, 0}, 1, 1, 100, 100, 1, {}, "10,4 16,8"},
      {{3, -2}, {-5, 1}, 1, 1, 100, 100, 1, {}, "5,5 11,9"},
      {{1, 1}, {0, 0}, 2, 2, 100, 100, 1, {}, "6,6 18,14"},
      {{1, 1}, {0, 0}, 0.5, 0.5, 100, 100, 1, {}, "9,7 12,9"},    // rint(0.5) is 0
      {{3, 3}, {0, 0}, 0.5, 0.5, 100, 100, 1, {}, "11,9 14,11"},  // rint(1.5) is 2
      {{0, 0}, {0, 0}, 1, 1, 150, 50, 1, {}, "6,7 15,9"},
      {{0, 0}, {0, 0}, 1, 1, 100, 100, 2, {}, "4,6 16,10"},
      {{0, 0}, {0, 0}, 1, 1, 100, 100, 1, ksn::cache_resolution_type::half, "4,4 16,12"},
      {{-100, 0}, {0, 0}, 1, 1, 100, 100, 1, {}, "20,16 0,0"},
  };
  for (const auto& test : cases) {
    clear();
    ksn::track_info& track = add(support::picture("BGR", 6, 4, {9, 9, 9}));
    track.source.type = source_type::sequence;
    track.placement.pos = test.pos;
    track.placement.set_aspect(test.aspect);
    track.placement.scale_x = test.scale_x;
    track.placement.scale_y = test.scale_y;
    view.offset = test.offset;
    view.zoom_x = test.zoom_x;
    view.zoom_y = test.zoom_y;
    layers[0].resolution = test.resolution;
    EXPECT_EQ(text(where(render(20, 16), 0, 9)), test.expected) << &test - cases;
  }
}

// No sum overflows: an endless layer covers the picture, one that lies far off shows nothing.
TEST_F(compositor_test, numbers_as_large_as_fields_can_be) {
  for (const int extreme : {0, INT_MAX, INT_MIN}) {
    clear();
    ksn::track_info& track = add(support::picture("BGR", 6, 4, {9, 9, 9}));
    track.placement.scale_x = track.placement.scale_y = INT_MAX;
    track.placement.set_aspect(1e300);
    track.placement.border = track.placement.safe_area = track.placement.crop = true;
    track.placement.crop_xy = {extreme, extreme};
    track.placement.crop_wh = {INT_MAX, INT_MAX};
    track.placement.pos = view.offset = {extreme, extreme};
    ksn::track_info& adjustment = add_adjustment(6, 4);
    adjustment.placement.pos = {extreme, extreme};
    adjustment.placement.scale_x = INT_MAX;
    for (const double zoom : {1.0, 1e9}) {
      view.zoom_x = view.zoom_y = zoom;
      EXPECT_EQ(render(8, 8).row(3, 1)[1], extreme == 0 ? 255 : 0) << extreme;
    }
  }
}

TEST_F(compositor_test, modes_and_opacity_come_from_the_layer) {
  // s 200, a 100 on d 55, A 30 at 50 %: difference with alpha gives |39 - 55| and |19 - 30|.
  ksn::track_info& track = add(support::picture("BGRAZ", 8, 8, {200, 200, 200, 100, 9}));
  track.look.alpha_type = alpha_type::normal;
  track.look.blend_type = blend_type::difference;
  track.look.depth_blend_type = depth_blend_type::combine;
  layers[0].opacity = 50;
  const img::image frame = render(8, 8, {55, 55, 55, 30, 8});
  const int expected[] = {16, 16, 16, 11, 9};
  for (int p = 0; p < 5; ++p) EXPECT_EQ(support::samples(frame, p), std::vector<int>(64, expected[p])) << p;
}

// A layer that an opaque plate hides need not be drawn; what shows beside it, through its crop or in its depth must.
TEST_F(compositor_test, hidden_layers) {
  ksn::track_info& lower = add(support::picture("BGRAZ", 12, 9, {1, 1, 1, 1, 90}));
  lower.placement.border = true;
  add_adjustment(12, 9);
  ksn::track_info& plate = add(support::picture("BGR", 12, 9, {7, 8, 9}));
  const int expected[] = {7, 8, 9, 255, 90};
  const render::background below{};
  for (const bool fill : {false, true}) {
    img::image frame = support::picture("BGRAZ", 12, 9);
    render::render_stereo_pair(&frame, nullptr, composition, layers, view, fill ? &below : nullptr);
    for (int p = 0; p < 5; ++p) EXPECT_EQ(support::samples(frame, p), std::vector<int>(108, expected[p])) << p;
  }
  plate.placement.pos = {2, 1};
  EXPECT_EQ(text(where(render(12, 9), 0, 7)), "2,1 12,9");
  plate.placement.pos = {0, 0};
  plate.placement.crop = true;
  plate.placement.crop_wh = {4, 4};
  EXPECT_EQ(text(where(render(12, 9), 0, 7)), "4,2 8,6");
}

TEST_F(compositor_test, crop_and_its_preview) {
  // 10 by 6 pixels in the middle of 20 by 12; the crop is 4 by 2 around one pixel right of the centre.
  ksn::track_info& track = add(support::picture("BGR", 10, 6, {200, 200, 200}));
  track.placement.crop = true;
  track.placement.crop_xy = {1, 0};
  track.placement.crop_wh = {4, 2};
  EXPECT_EQ(text(where(render(20, 12), 0, 200)), "9,5 13,7");
  EXPECT_EQ(text(where(render(20, 12), 3, 255)), "9,5 13,7");
  view.crop_preview = true;
  EXPECT_EQ(where(render(20, 12), 0, 100).empty(), true);  // not the selected layer
  composition.doc.selection = {0};
  img::image frame = render(20, 12);
  for (int y = 0; y < 12; ++y) {
    for (int x = 0; x < 20; ++x) {
      const bool inside = x >= 9 && x < 13 && y >= 5 && y < 7;
      const bool in_layer = x >= 5 && x < 15 && y >= 3 && y < 9;
      EXPECT_EQ(frame.row(0, y)[x], inside ? 200 : in_layer ? 100 : 0) << x << "," << y;
    }
  }
  layers[0].opacity = 51;  // what is cut off has 25 and so the weight 64
  EXPECT_EQ(render(20, 12).row(0, 3)[5], 50);
  layers[0].opacity = 100;
  // A crop that lies off the layer shows all of it as cut off; zoom and place move the crop along.
  composition.doc.track_at(0).placement.crop_xy = {100, 0};
  EXPECT_EQ(text(where(render(20, 12), 0, 100)), "5,3 15,9");
  view.crop_preview = false;
  composition.doc.track_at(0).placement.crop_xy = {1, 0};
  composition.doc.track_at(0).placement.pos = {-1, 1};
  view.zoom_x = view.zoom_y = 2;
  EXPECT_EQ(text(where(render(20, 12), 0, 200)), "6,6 14,10");
}

TEST_F(compositor_test, adjustment_of_what_lies_below) {
  add(support::picture("BGR", 30, 16, {100, 101, 55}));
  ksn::track_info& adjustment = add_adjustment(11, 6);
  adjustment.placement.pos = {2, 1};
  // 11 by 6 around (17, 9): from (12, 6) on.
  img::image frame = render(30, 16);
  EXPECT_EQ(text(where(frame, 0, 0)), "12,6 23,12");
  EXPECT_EQ(text(where(frame, 2, 0)), "12,6 23,12");
  EXPECT_EQ(text(where(frame, 3, 255)), "0,0 30,16");
  // A crop limits it, its scale grows it, its opacity of 0 undoes it but for the last bit of the alpha's bulk.
  adjustment.placement.crop = true;
  adjustment.placement.crop_wh = {2, 2};
  EXPECT_EQ(text(where(render(30, 16), 0, 0)), "16,8 18,10");
  adjustment.placement.crop = false;
  adjustment.placement.scale_x = 200;
  EXPECT_EQ(text(where(render(30, 16), 0, 0)), "6,6 28,12");
  adjustment.placement.scale_x = 100;
  layers[1].opacity = 0;
  EXPECT_EQ(support::samples(render(30, 16), 0), std::vector<int>(480, 100));

  // At 50 % the weight is 128: ((0 - 101) * 128 >> 8) + 101 = -51 + 101. The alpha is ADD(MUL(127, 255), 128), with 126
  // for the product in the bulk of the row and 127 in its last three columns.
  layers[1].opacity = 50;
  frame = render(30, 16);
  EXPECT_EQ(text(where(frame, 0, 50)), "12,6 23,12");
  EXPECT_EQ(text(where(frame, 1, 50)), "12,6 23,12");
  EXPECT_EQ(text(where(frame, 2, 27)), "12,6 23,12");  // (-55 * 128 >> 8) + 55 = -28 + 55
  EXPECT_EQ(text(where(frame, 3, 254)), "12,6 20,12");
}

TEST_F(compositor_test, adjustment_with_an_alpha_source) {
  add(support::picture("BGR", 32, 16, {100, 100, 100}));
  auto alpha = std::make_shared<img::image>();
  alpha->reset_like({0, 0, 0, 'A'}, 8, 16, 8);
  for (int i = 0; i < 16 * 8; ++i) alpha->data[3].data()[i] = i % 16 < 8 ? 0 : 255;
  ksn::track_info& adjustment = add_adjustment(16, 8, alpha);
  adjustment.look.alpha_type = alpha_type::normal;
  // The right half of (8, 4) to (24, 12).
  EXPECT_EQ(text(where(render(32, 16), 0, 0)), "16,4 24,12");
  EXPECT_EQ(render(32, 16).row(0, 8)[15], 100);
  adjustment.placement.crop = true;
  adjustment.placement.crop_xy = {4, 0};
  adjustment.placement.crop_wh = {4, 4};
  EXPECT_EQ(text(where(render(32, 16), 0, 0)), "18,6 22,10");
}

// Hue and saturation work in fours of pixels from the left of the rectangle and otherwise in the last ones, just as in
// a picture of the rectangle's width.
TEST_F(compositor_test, adjustment_matrix_counts_from_the_rectangle) {
  const img::image below = support::random_picture("BGRAZ", 40, 13, 5);
  ksn::track_info& adjustment = add_adjustment(23, 9);
  adjustment.look.tf = {};
  adjustment.look.tf.saturation = {40, 40, 40};
  adjustment.look.tf.gain = {130, 100, 90};
  img::image target = below;
  render::render_stereo_pair(&target, nullptr, composition, layers, view);
  img::image cut("BGR", 8, 23, 9);
  for (int p = 0; p < 3; ++p) {
    for (int y = 0; y < 9; ++y) std::copy_n(below.row(p, y + 2) + 9, 23, cut.row(p, y));
  }
  img::transfer(adjustment.look.tf).apply(cut);
  for (int p = 0; p < 3; ++p) {
    for (int y = 0; y < 9; ++y) {
      EXPECT_TRUE(std::equal(cut.row(p, y), cut.row(p, y) + 23, target.row(p, y + 2) + 9)) << p << " " << y;
    }
  }
  EXPECT_EQ(support::samples(target, 3), support::samples(below, 3));
}

TEST_F(compositor_test, border_and_safe_area) {
  ksn::track_info& track = add(support::picture("BGRA", 40, 20, {10, 10, 10, 0}));
  track.look.alpha_type = alpha_type::normal;
  track.placement.border = true;
  track.placement.border_color = {255, 1, 2, 3};
  track.placement.crop_wh = {4, 4};
  for (const bool crop : {false, true}) {  // cuts the picture, not the outline
    track.placement.crop = crop;
    const img::image frame = render(44, 24);
    for (int y = 0; y < 24; ++y) {
      for (int x = 0; x < 44; ++x) {
        const bool in = x >= 2 && x < 42 && y >= 2 && y < 22;
        const bool within = x >= 3 && x < 41 && y >= 3 && y < 21;
        for (int p = 0; p < 4; ++p) EXPECT_EQ(frame.row(p, y)[x], in && !within ? 3 - p : 0) << x << "," << y;
      }
    }
  }
  // 80 % of 40 by 20 is 32 by 16, 90 % is 36 by 18; ticks at the corners of the layer are 3 long.
  track.placement.border = false;
  track.placement.safe_area = true;
  const img::image frame = render(44, 24);
  const std::vector<std::pair<math::point, bool>> marks{
      {{4, 3}, true},  {{39, 20}, true}, {{4, 12}, true},  {{20, 3}, true},   // 90 %
      {{6, 4}, true},  {{37, 19}, true}, {{6, 12}, true},  {{20, 19}, true},  // 80 %
      {{2, 2}, true},  {{4, 2}, true},   {{5, 2}, false},  {{41, 21}, true}, {{41, 18}, false}, {{22, 12}, true},
      {{22, 6}, true}, {{22, 7}, false}, {{21, 12}, true}, {{15, 9}, false}, {{0, 0}, false},
  };
  for (const auto& [at, drawn] : marks) EXPECT_EQ(frame.row(1, at.y)[at.x], drawn ? 2 : 0) << at.x << "," << at.y;
}

// A stack of everything at once: whatever the threads, the kernels and the height, and whether the background was
// filled before or comes with the strips, the picture is the same.
TEST_F(compositor_test, same_picture_for_every_number_of_threads_and_every_level) {
  std::mt19937 random(3);
  for (unsigned i = 0; i < 24; ++i) {
    const char* letters[] = {"BGRA", "BGRA", "BGRAZ", "BGR", "L"};
    if (i % 8 == 7) {
      ksn::track_info& adjustment = add_adjustment(70, 50);
      adjustment.look.tf.exposure = {30, -20, 10};
      adjustment.look.tf.saturation = {150, 150, 150};
      adjustment.placement.pos = {static_cast<int>(i) - 10, 3};
    } else {
      img::image picture = support::random_picture(letters[i % 5], 101, 67, i);
      if (i % 7 == 1 && picture.has_plane(3)) picture.hint[3].assign(67, {20, 71});
      ksn::track_info& track = add(std::move(picture));
      track.look.alpha_type = static_cast<alpha_type>(i < 6 ? 1 : random() % 4);
      track.look.blend_type = static_cast<blend_type>(i < 6 ? 0 : random() % 5);
      track.look.depth_blend_type = static_cast<depth_blend_type>(random() % 3);
      track.placement.border = i % 9 == 4;
      track.placement.safe_area = i % 11 == 4;
      track.placement.crop = i % 6 == 5;
      track.placement.crop_wh = {60, 41};
      track.placement.flip_x = i % 10 == 8;
      if (i % 4 == 3) track.placement.scale_x = 130;
      track.look.target_view = static_cast<ksn::target_view_type>(i % 9 == 3 ? 0 : i % 9 == 6 ? 1 : 2);
    }
    layers.back().opacity = i < 4 || i % 3 ? 40 + static_cast<int>(i) : 100;
  }
  composition.doc.selection = {5};
  view.crop_preview = true;
  for (const int height : {1, 3, 4, 5, 67, 71}) {
    const render::background below{3, 60, 90, 0, 20};
    img::image left = support::picture("BGRAZ", 93, height, {3, 60, 90, 0, 20});
    img::image right = left;
    const img::image garbage = support::random_picture("BGRAZ", 93, height, 77);
    lib::set_thread_count(1);
    render::render_stereo_pair(&left, &right, composition, layers, view);
    const auto check = [&](const std::string& name) {
      img::image a = garbage;
      img::image b = garbage;
      render::render_stereo_pair(&a, &b, composition, layers, view, &below);
      EXPECT_EQ(support::differing_plane(a, left), -1) << name << ", height " << height;
      EXPECT_EQ(support::differing_plane(b, right), -1) << name << ", height " << height;
    };
    support::every_thread_count([&](int threads) { check(std::to_string(threads) + " threads"); });
    support::every_level([&](const char* level) { check(level); });
  }
  render::render_stereo_pair(nullptr, nullptr, composition, layers, view);
  // With no layers the picture is the background.
  img::image empty = support::random_picture("BGRAZ", 9, 7, 1);
  const render::background below{1, 2, 3, 4, 5};
  render::render_stereo_pair(&empty, nullptr, composition, {}, view, &below);
  for (int p = 0; p < 5; ++p) EXPECT_EQ(support::samples(empty, p), std::vector<int>(63, p + 1));
}

}  // namespace
