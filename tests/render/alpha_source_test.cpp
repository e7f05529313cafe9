#include "render/alpha_source.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>

#include "support/pictures.h"

namespace {

using ksn::channel_type;
using mode = ksn::alpha_source_mode_type;
using range = ksn::alpha_source_range_type;
using render::layer_picture;

using values = std::vector<int>;

img::image numbered_alpha(int width, int height) {
  img::image image = support::picture("BGRA", width, height, {1, 2, 3});
  for (int i = 0; i < width * height; ++i) image.row(3, 0)[i] = static_cast<std::uint8_t>(i);
  return image;
}

// A layer of 4 by 2 pixels and a source of the same size with distinct planes.
struct setup {
  ksn::track_info layer;
  ksn::track_info source;
  img::image layer_image = support::picture("BGR", 4, 2, {10, 20, 30});
  img::image source_image = support::picture("BGRAZ", 4, 2, {40, 50, 60, 70, 80});
  int layer_reduction = 1;
  bool attached = true;

  setup() { layer.source.type = source.source.type = ksn::source_type::image; }
  void take(channel_type channel) { layer.look.alpha_source_channel = channel; }
  void gray_source() { source_image = support::picture("L", 4, 2, {90}); }
  void gray_layer() { layer_image = support::picture("L", 4, 2, {9}); }
  void own_alpha(int alpha) { layer_image = support::picture("BGRA", 4, 2, {1, 2, 3, alpha}); }
  void meet(mode how, bool inverted = false, channel_type own = channel_type::alpha) {
    layer.look.alpha_source_mode = how;
    layer.look.alpha_source_invert = inverted;
    layer.look.alpha_source_channel2 = own;
  }
  void small_source(int width, int height, int alpha = 70) {
    source_image = support::picture("BGRA", width, height, {1, 2, 3, alpha});
  }
  void cut_source(math::point centre, math::point size) {
    source.placement.crop = true;
    source.placement.crop_xy = centre;
    source.placement.crop_wh = size;
  }
  img::const_image_ptr run() const {
    layer_picture from;
    if (attached) from = {&source, std::make_shared<img::image>(source_image), 1};
    return render::apply_alpha_source({&layer, std::make_shared<img::image>(layer_image), layer_reduction}, from);
  }
};

struct alpha_case {
  const char* name;
  std::function<void(setup&)> change;
  values alpha;  // of both rows; one value for all, none for a picture without alpha
};

const alpha_case alpha_cases[] = {
    {"alpha of the source", [](setup&) {}, {70}},
    {"another channel", [](setup& s) { s.take(channel_type::red); }, {60}},
    {"depth", [](setup& s) { s.take(channel_type::depth); }, {80}},
    // (54 * 60 + 183 * 50 + 19 * 40) >> 8 = 13150 >> 8
    {"luma", [](setup& s) { s.take(channel_type::luma); }, {51}},
    {"inverted source", [](setup& s) { s.meet(mode::replace, true); }, {185}},
    {"inverted source and result",
     [](setup& s) { s.meet(mode::replace, true), s.layer.look.invert_alpha = true; },
     {70}},
    {"green of a gray source", [](setup& s) { s.gray_source(), s.take(channel_type::green); }, {90}},
    {"luma of a gray source", [](setup& s) { s.gray_source(), s.take(channel_type::luma); }, {90}},
    {"a source without the channel counts as none", [](setup& s) { s.source_image = s.layer_image; }, {}},
    {"no source", [](setup& s) { s.attached = false; }, {}},
    {"no alpha to invert", [](setup& s) { s.attached = false, s.layer.look.invert_alpha = true; }, {}},
    {"own alpha", [](setup& s) { s.attached = false, s.layer.look.invert_alpha = true, s.own_alpha(100); }, {155}},
    {"a gray layer", [](setup& s) { s.gray_layer(); }, {70}},
    {"a gray layer without alpha",
     [](setup& s) { s.attached = false, s.layer.look.invert_color = true, s.gray_layer(); },
     {}},
    // A row of four is all tail: floor(x * y / 255).
    {"255 - 155 * 185 / 255", [](setup& s) { s.own_alpha(100), s.meet(mode::combine); }, {255 - 112}},
    {"255 - 155 * 70 / 255", [](setup& s) { s.own_alpha(100), s.meet(mode::combine, true); }, {255 - 42}},
    {"combine with an own alpha that is missing", [](setup& s) { s.meet(mode::combine); }, {255}},
    {"100 * 70 / 255", [](setup& s) { s.own_alpha(100), s.meet(mode::multiply); }, {27}},
    {"100 * 185 / 255", [](setup& s) { s.own_alpha(100), s.meet(mode::multiply, true); }, {72}},
    {"multiply with an own alpha that is missing", [](setup& s) { s.meet(mode::multiply); }, {70}},
    {"own green: 20 * 70 / 255", [](setup& s) { s.meet(mode::multiply, false, channel_type::green); }, {5}},
    // (54 * 30 + 183 * 20 + 19 * 10) >> 8 = 21
    {"own luma: 21 * 70 / 255", [](setup& s) { s.meet(mode::multiply, false, channel_type::luma); }, {5}},
    // Centred by the anchors; what is not covered is transparent, or opaque when the source is inverted.
    {"smaller source", [](setup& s) { s.small_source(2, 1); }, {0, 0, 0, 0, 0, 70, 70, 0}},
    {"smaller source inverted",
     [](setup& s) { s.small_source(2, 1), s.meet(mode::replace, true); },
     {255, 255, 255, 255, 255, 185, 185, 255}},
    {"larger source", [](setup& s) { s.source_image = numbered_alpha(6, 4); }, {7, 8, 9, 10, 13, 14, 15, 16}},
    {"a source moved by its anchor",
     [](setup& s) {
       s.small_source(2, 2), s.source_image.user[0] = {2, 1};
     },
     {70, 70, 0, 0, 70, 70, 0, 0}},
    {"stretched: nearest sample",
     [](setup& s) { s.source_image = numbered_alpha(2, 1), s.layer.look.alpha_source_stretch = true; },
     {0, 0, 1, 1, 0, 0, 1, 1}},
    // Centre (1, 0) and size 2 by 1 from the anchor (2, 1): columns 2 and 3, row 1 (0 - 1 / 2 = 0).
    {"a cropped source",
     [](setup& s) {
       s.cut_source({1, 0}, {2, 1});
     },
     {0, 0, 0, 0, 0, 0, 70, 70}},
    {"a cropped and stretched source",
     [](setup& s) {
       s.layer_image = support::picture("BGR", 8, 1, {1, 2, 3});
       s.layer.look.alpha_source_stretch = true;
       s.cut_source({1, 0}, {2, 4});
     },
     {0, 0, 0, 0, 70, 70, 70, 70}},
    {"a crop beyond the source",
     [](setup& s) {
       s.cut_source({}, {100, 100});
     },
     {70}},
    {"shadows only where the source reaches",
     [](setup& s) { s.small_source(2, 1, 50), s.layer.look.alpha_source_range = range::shadows; },
     {0, 0, 0, 0, 0, 255, 255, 0}},
    {"highlights", [](setup& s) { s.layer.look.alpha_source_range = range::highlights; }, {0}},
    // A reduced layer meets a source of full size at the same place: every second sample.
    {"a source of another reduction",
     [](setup& s) { s.layer_reduction = 2, s.source_image = numbered_alpha(8, 4); },
     {0, 2, 4, 6, 16, 18, 20, 22}},
};

TEST(alpha_source, cases) {
  for (const alpha_case& c : alpha_cases) {
    setup s;
    c.change(s);
    const img::const_image_ptr result = s.run();
    ASSERT_TRUE(result) << c.name;
    EXPECT_EQ(support::letters_of(*result), c.alpha.empty() ? support::letters_of(s.layer_image) : "BGRA") << c.name;
    if (!c.alpha.empty()) {
      EXPECT_EQ(support::samples(*result, 3), c.alpha.size() == 1 ? values(8, c.alpha[0]) : c.alpha) << c.name;
    }
    for (int p = 0; p < 3; ++p) {
      if (!result->has_plane(p)) continue;
      values colors = support::samples(s.layer_image, s.layer_image.has_plane(p) ? p : 0);
      for (int& v : colors) v = s.layer.look.invert_color ? 255 - v : v;
      EXPECT_EQ(support::samples(*result, p), colors) << c.name << " plane " << p;
    }
  }
}

TEST(alpha_source, inversions_and_what_the_picture_carries) {
  setup s;
  s.attached = false;
  s.layer.look.invert_alpha = s.layer.look.invert_depth = true;
  // Neither plane exists: the picture itself.
  const auto image = std::make_shared<const img::image>(s.layer_image);
  EXPECT_EQ(render::apply_alpha_source({&s.layer, image, 1}, {}), image);

  s.layer_image = support::picture("BGRAZ", 4, 2, {1, 2, 3, 4, 5});
  s.layer_image.path = "/a.tga";
  s.layer_image.frame = 12;
  s.layer_image.user[0] = {1, 1};
  s.layer_image.hint[3] = {{1, 2}, {0, 3}};
  s.layer.look.invert_color = true;
  for (const bool alpha : {false, true}) {
    s.layer.look.invert_alpha = alpha;
    const img::const_image_ptr result = s.run();
    const int expected[] = {254, 253, 252, alpha ? 251 : 4, 250};
    for (int p = 0; p < 5; ++p) EXPECT_EQ(support::samples(*result, p), values(8, expected[p])) << p;
    EXPECT_EQ(static_cast<const img::image_info&>(*result), static_cast<const img::image_info&>(s.layer_image));
    // Where alpha changes, what was known of its empty columns does not hold any more.
    EXPECT_EQ(result->hint[3], alpha ? std::vector<img::row_hint>{} : s.layer_image.hint[3]);
  }
}

TEST(alpha_source, of_an_adjustment_layer_is_an_alpha_plane_of_its_size) {
  setup s;
  s.layer.source.type = ksn::source_type::adjustment;
  s.layer.source.width = 6;
  s.layer.source.height = 2;
  s.layer.look.invert_color = true;
  const img::const_image_ptr result = s.run();
  ASSERT_TRUE(result);
  EXPECT_EQ(support::letters_of(*result), "...A");
  EXPECT_EQ(support::samples(*result, 3), (values{0, 70, 70, 70, 70, 0, 0, 70, 70, 70, 70, 0}));
  s.attached = false;
  EXPECT_EQ(s.run(), nullptr);
}

// S is 255 below 51 and 0 from 102; between them with x = (102 - i) / 51: x = 2/3 at 68, x - (1/6)(4/3)(-1/3) = 0.7407;
// x = 1/3 at 85, x - (-1/6)(2/3)(-2/3) = 0.2593.
TEST(alpha_source, tonal_ranges) {
  const std::uint8_t* shadows = render::range_table(range::shadows);
  const std::uint8_t* midtones = render::range_table(range::midtones);
  const std::uint8_t* highlights = render::range_table(range::highlights);
  EXPECT_EQ(render::range_table(range::none), nullptr);
  const std::map<int, int> known{{0, 255}, {50, 255}, {51, 255}, {68, 189}, {85, 66}, {102, 0}, {255, 0}};
  for (const auto& [i, weight] : known) {
    EXPECT_EQ(shadows[i], weight) << i;
    EXPECT_EQ(highlights[255 - i], weight) << i;
  }
  for (int i = 0; i < 256; ++i) {
    EXPECT_EQ(shadows[i] + midtones[i] + highlights[i], 255) << i;
    if (i > 0) {
      EXPECT_LE(shadows[i], shadows[i - 1]) << i;
    }
  }
}

}  // namespace
