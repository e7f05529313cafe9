#include <gtest/gtest.h>

#include <functional>

#include "render/alpha_source.h"
#include "support/levels.h"
#include "support/pictures.h"

namespace {

using ksn::alpha_source_mode_type;
using ksn::alpha_source_range_type;
using ksn::channel_type;
using render::layer_picture;

using rows = std::vector<int>;

// A layer of 4 by 2 pixels and a source of the same size with distinct planes.
struct setup {
  ksn::track_info layer;
  ksn::track_info source;
  img::image layer_image = support::picture("BGR", 4, 2, {10, 20, 30});
  img::image source_image = support::picture("BGRAZ", 4, 2, {40, 50, 60, 70, 80});
  int layer_reduction = 1;
  int source_reduction = 1;
  bool attached = true;

  setup() {
    layer.source_type = source.source_type = ksn::source_type::image;
    layer.alpha_source_id = source.id;
  }
  img::const_image_ptr run() const {
    layer_picture from;
    if (attached) from = {&source, std::make_shared<img::image>(source_image), source_reduction};
    return render::apply_alpha_source({&layer, std::make_shared<img::image>(layer_image), layer_reduction}, from);
  }
};

struct alpha_case {
  const char* name;
  std::function<void(setup&)> change;
  const char* letters;
  rows alpha;  // of both rows
};

const rows same(8, 70);

const alpha_case alpha_cases[] = {
    {"alpha of the source", [](setup&) {}, "BGRA", same},
    {"another channel", [](setup& s) { s.layer.alpha_source_channel = channel_type::red; }, "BGRA", rows(8, 60)},
    {"depth", [](setup& s) { s.layer.alpha_source_channel = channel_type::depth; }, "BGRA", rows(8, 80)},
    // (54 * 60 + 183 * 50 + 19 * 40) >> 8 = 13150 >> 8
    {"luma", [](setup& s) { s.layer.alpha_source_channel = channel_type::luma; }, "BGRA", rows(8, 51)},
    {"inverted source", [](setup& s) { s.layer.alpha_source_invert = true; }, "BGRA", rows(8, 185)},
    {"inverted source and result", [](setup& s) { s.layer.alpha_source_invert = s.layer.invert_alpha = true; }, "BGRA",
     same},
    {"green of a gray source is its one plane",
     [](setup& s) {
       s.source_image = support::picture("L", 4, 2, {90});
       s.layer.alpha_source_channel = channel_type::green;
     },
     "BGRA", rows(8, 90)},
    {"luma of a gray source is its one plane",
     [](setup& s) {
       s.source_image = support::picture("L", 4, 2, {90});
       s.layer.alpha_source_channel = channel_type::luma;
     },
     "BGRA", rows(8, 90)},
    {"a source without the channel counts as none",
     [](setup& s) {
       s.source_image = support::picture("BGR", 4, 2, {1, 2, 3});
     },
     "BGR",
     {}},
    {"no source", [](setup& s) { s.attached = false; }, "BGR", {}},
    {"inversion of an alpha that is not there",
     [](setup& s) { s.attached = false, s.layer.invert_alpha = true; },
     "BGR",
     {}},
    {"inversion of the own alpha",
     [](setup& s) {
       s.attached = false, s.layer.invert_alpha = true;
       s.layer_image = support::picture("BGRA", 4, 2, {1, 2, 3, 100});
     },
     "BGRA", rows(8, 155)},
    {"a gray layer is completed", [](setup& s) { s.layer_image = support::picture("L", 4, 2, {9}); }, "BGRA", same},
    {"a gray layer without alpha stays gray",
     [](setup& s) {
       s.attached = false, s.layer.invert_color = true;
       s.layer_image = support::picture("L", 4, 2, {9});
     },
     "L",
     {}},
    // A row of four is all tail: floor(x * y / 255).
    {"combine: 255 - 155 * 185 / 255",
     [](setup& s) {
       s.layer_image = support::picture("BGRA", 4, 2, {1, 2, 3, 100});
       s.layer.alpha_source_mode = alpha_source_mode_type::combine;
     },
     "BGRA", rows(8, 255 - 112)},
    {"combine with the inverted source: 255 - 155 * 70 / 255",
     [](setup& s) {
       s.layer_image = support::picture("BGRA", 4, 2, {1, 2, 3, 100});
       s.layer.alpha_source_mode = alpha_source_mode_type::combine;
       s.layer.alpha_source_invert = true;
     },
     "BGRA", rows(8, 255 - 42)},
    {"combine with an own alpha that is missing",
     [](setup& s) { s.layer.alpha_source_mode = alpha_source_mode_type::combine; }, "BGRA", rows(8, 255)},
    {"multiply: 100 * 70 / 255",
     [](setup& s) {
       s.layer_image = support::picture("BGRA", 4, 2, {1, 2, 3, 100});
       s.layer.alpha_source_mode = alpha_source_mode_type::multiply;
     },
     "BGRA", rows(8, 27)},
    {"multiply with the inverted source: 100 * 185 / 255",
     [](setup& s) {
       s.layer_image = support::picture("BGRA", 4, 2, {1, 2, 3, 100});
       s.layer.alpha_source_mode = alpha_source_mode_type::multiply;
       s.layer.alpha_source_invert = true;
     },
     "BGRA", rows(8, 72)},
    {"multiply with an own alpha that is missing",
     [](setup& s) { s.layer.alpha_source_mode = alpha_source_mode_type::multiply; }, "BGRA", same},
    {"multiply with the own green: 20 * 70 / 255",
     [](setup& s) {
       s.layer.alpha_source_mode = alpha_source_mode_type::multiply;
       s.layer.alpha_source_channel2 = channel_type::green;
     },
     "BGRA", rows(8, 5)},
    // Own luma: (54 * 30 + 183 * 20 + 19 * 10) >> 8 = 21; 21 * 70 / 255
    {"multiply with the own luma",
     [](setup& s) {
       s.layer.alpha_source_mode = alpha_source_mode_type::multiply;
       s.layer.alpha_source_channel2 = channel_type::luma;
     },
     "BGRA", rows(8, 5)},
    {"smaller source: centred by the anchors, transparent around",
     [](setup& s) {
       s.source_image = support::picture("BGRA", 2, 1, {1, 2, 3, 70});
     },
     "BGRA",
     {0, 0, 0, 0, 0, 70, 70, 0}},
    {"smaller source inverted: what is not covered becomes opaque",
     [](setup& s) {
       s.source_image = support::picture("BGRA", 2, 1, {1, 2, 3, 70});
       s.layer.alpha_source_invert = true;
     },
     "BGRA",
     {255, 255, 255, 255, 255, 185, 185, 255}},
    {"larger source: its middle",
     [](setup& s) {
       s.source_image = support::picture("BGRA", 6, 4, {1, 2, 3, 0});
       for (int i = 0; i < 24; ++i) s.source_image.row(3, 0)[i] = static_cast<std::uint8_t>(i);
     },
     "BGRA",
     {7, 8, 9, 10, 13, 14, 15, 16}},
    {"a source moved by its anchor",
     [](setup& s) {
       s.source_image = support::picture("BGRA", 2, 2, {1, 2, 3, 70});
       s.source_image.user[0] = {2, 1};
     },
     "BGRA",
     {70, 70, 0, 0, 70, 70, 0, 0}},
    {"stretched: nearest sample",
     [](setup& s) {
       s.source_image = support::picture("BGRA", 2, 1, {1, 2, 3, 70});
       s.source_image.row(3, 0)[1] = 90;
       s.layer.alpha_source_stretch = true;
     },
     "BGRA",
     {70, 70, 90, 90, 70, 70, 90, 90}},
    // Centre (1, 0) and size 2 by 1 from the anchor (2, 1): columns 2 and 3, row 1 (0 - 1 / 2 = 0).
    {"a cropped source",
     [](setup& s) {
       s.source.crop = true;
       s.source.crop_xy = {1, 0};
       s.source.crop_wh = {2, 1};
     },
     "BGRA",
     {0, 0, 0, 0, 0, 0, 70, 70}},
    {"a cropped and stretched source",
     [](setup& s) {
       s.layer_image = support::picture("BGR", 8, 1, {1, 2, 3});
       s.layer.alpha_source_stretch = true;
       s.source.crop = true;
       s.source.crop_xy = {1, 0};
       s.source.crop_wh = {2, 4};
     },
     "BGRA",
     {0, 0, 0, 0, 70, 70, 70, 70}},
    {"a crop beyond the source",
     [](setup& s) {
       s.source.crop = true;
       s.source.crop_wh = {100, 100};
     },
     "BGRA", same},
    {"shadows only where the source reaches",
     [](setup& s) {
       s.source_image = support::picture("BGRA", 2, 1, {1, 2, 3, 50});
       s.layer.alpha_source_range = alpha_source_range_type::shadows;
     },
     "BGRA",
     {0, 0, 0, 0, 0, 255, 255, 0}},
    {"highlights", [](setup& s) { s.layer.alpha_source_range = alpha_source_range_type::highlights; }, "BGRA",
     rows(8, 0)},
    // A reduced layer meets a source of full size at the same place: every second sample.
    {"a source of another reduction",
     [](setup& s) {
       s.layer_reduction = 2;
       s.source_image = support::picture("BGRA", 8, 4, {1, 2, 3, 0});
       for (int i = 0; i < 32; ++i) s.source_image.row(3, 0)[i] = static_cast<std::uint8_t>(i);
     },
     "BGRA",
     {0, 2, 4, 6, 16, 18, 20, 22}},
};

TEST(alpha_source, cases) {
  for (const alpha_case& c : alpha_cases) {
    setup s;
    c.change(s);
    const img::const_image_ptr result = s.run();
    ASSERT_TRUE(result) << c.name;
    EXPECT_EQ(support::letters_of(*result), c.letters) << c.name;
    if (!c.alpha.empty()) {
      EXPECT_EQ(support::samples(*result, 3), c.alpha) << c.name;
    }
    const bool gray = s.layer_image.format[0] == 'L';
    for (int p = 0; p < 3; ++p) {
      if (!result->has_plane(p)) continue;
      std::vector<int> colors = support::samples(s.layer_image, gray ? 0 : p);
      if (s.layer.invert_color) {
        for (int& v : colors) v = 255 - v;
      }
      EXPECT_EQ(support::samples(*result, p), colors) << c.name << " plane " << p;
    }
  }
}

TEST(alpha_source, the_picture_itself_when_nothing_applies) {
  setup s;
  s.attached = false;
  s.layer.invert_alpha = s.layer.invert_depth = true;  // neither plane exists
  const auto image = std::make_shared<const img::image>(s.layer_image);
  EXPECT_EQ(render::apply_alpha_source({&s.layer, image, 1}, {}), image);
}

TEST(alpha_source, inversions_and_what_the_picture_carries) {
  setup s;
  s.attached = false;
  s.layer_image = support::picture("BGRAZ", 4, 2, {1, 2, 3, 4, 5});
  s.layer_image.path = "/a.tga";
  s.layer_image.frame = 12;
  s.layer_image.user[0] = {1, 1};
  s.layer_image.hint[3] = {{1, 2}, {0, 3}};
  s.layer.invert_color = s.layer.invert_depth = true;
  const img::const_image_ptr result = s.run();
  const int expected[] = {254, 253, 252, 4, 250};
  for (int p = 0; p < 5; ++p) EXPECT_EQ(support::samples(*result, p), rows(8, expected[p])) << p;
  EXPECT_EQ(static_cast<const img::image_info&>(*result), static_cast<const img::image_info&>(s.layer_image));
  EXPECT_EQ(result->hint[3], s.layer_image.hint[3]);
  // Where alpha changes, what was known of its empty columns does not hold any more.
  s.layer.invert_alpha = true;
  EXPECT_TRUE(s.run()->hint[3].empty());
}

TEST(alpha_source, of_an_adjustment_layer_is_an_alpha_plane_of_its_size) {
  setup s;
  s.layer.source_type = ksn::source_type::adjustment;
  s.layer.width = 6;
  s.layer.height = 2;
  s.layer.invert_color = true;
  const img::const_image_ptr result = s.run();
  ASSERT_TRUE(result);
  EXPECT_EQ(support::letters_of(*result), "...A");
  EXPECT_EQ(support::samples(*result, 3), (rows{0, 70, 70, 70, 70, 0, 0, 70, 70, 70, 70, 0}));
  s.attached = false;
  EXPECT_EQ(s.run(), nullptr);
}

// S is 255 below 51 and 0 from 102; between them with x = (102 - i) / 51: x = 2/3 at 68, x - (1/6)(4/3)(-1/3) = 0.7407;
// x = 1/3 at 85, x - (-1/6)(2/3)(-2/3) = 0.2593.
TEST(alpha_source, tonal_ranges) {
  const std::uint8_t* shadows = render::range_table(alpha_source_range_type::shadows);
  const std::uint8_t* midtones = render::range_table(alpha_source_range_type::midtones);
  const std::uint8_t* highlights = render::range_table(alpha_source_range_type::highlights);
  EXPECT_EQ(render::range_table(alpha_source_range_type::none), nullptr);
  const std::map<int, int> known{{0, 255}, {50, 255}, {51, 255}, {68, 189}, {85, 66}, {102, 0}, {255, 0}};
  for (const auto& [i, weight] : known) {
    EXPECT_EQ(shadows[i], weight) << i;
    EXPECT_EQ(highlights[255 - i], weight) << i;
  }
  EXPECT_EQ(midtones[85], 189);
  EXPECT_EQ(midtones[128], 255);
  for (int i = 0; i < 256; ++i) {
    EXPECT_EQ(shadows[i] + midtones[i] + highlights[i], 255) << i;
    if (i > 0) {
      EXPECT_LE(shadows[i], shadows[i - 1]) << i;
    }
  }
}

TEST(alpha_source, same_picture_for_every_number_of_threads_and_every_level) {
  setup s;
  s.layer_image = support::random_picture("BGRAZ", 101, 67, 1);
  s.source_image = support::random_picture("BGRA", 77, 133, 2);
  s.layer.invert_color = s.layer.alpha_source_invert = true;
  for (const auto mode :
       {alpha_source_mode_type::replace, alpha_source_mode_type::combine, alpha_source_mode_type::multiply}) {
    for (const bool stretch : {false, true}) {
      for (const channel_type channel : {channel_type::alpha, channel_type::luma}) {
        s.layer.alpha_source_mode = mode;
        s.layer.alpha_source_stretch = stretch;
        s.layer.alpha_source_channel = s.layer.alpha_source_channel2 = channel;
        s.layer.alpha_source_range = alpha_source_range_type::midtones;
        lib::set_thread_count(1);
        const img::const_image_ptr expected = s.run();
        support::every_level([&](const char* level) {
          support::every_thread_count([&](int threads) {
            EXPECT_EQ(support::differing_plane(*s.run(), *expected), -1) << level << ' ' << threads;
          });
        });
      }
    }
  }
}

}  // namespace
