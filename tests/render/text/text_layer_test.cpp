// Text layers in the pipeline: where their ink lies, what outline, shadow and panel add, and when they are drawn again.
#include <gtest/gtest.h>

#include "lib/parallel.h"
#include "render/pipeline.h"
#include "support/pictures.h"

namespace {

constexpr int width = 300;
constexpr int height = 150;
constexpr lib::color none{0, 0, 0, 0};

ksn::track_info text_layer(const std::string& text) {
  ksn::track_info track;
  track.source.type = ksn::source_type::text;
  track.source.frames = 100;
  track.look.visible = true;
  track.source.width = width;
  track.source.height = height;
  track.look.alpha_type = ksn::alpha_type::normal;
  track.lettering.text = text;
  track.lettering.text_attr.size = 24;
  track.lettering.text_attr.outline_color = track.lettering.text_attr.shadow_color = none;
  return track;
}

math::rectangle ink_of(const img::image& image) {
  math::rectangle box{image.width, image.height, 0, 0};
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width; ++x) {
      if (image.row(3, y)[x] == 0) continue;
      box = {std::min(box.left, x), std::min(box.top, y), std::max(box.right, x + 1), std::max(box.bottom, y + 1)};
    }
  }
  return box;
}

std::vector<std::vector<int>> bytes_of(const img::image& image) {
  std::vector<std::vector<int>> planes;
  for (int plane = 0; plane < 4; ++plane) planes.push_back(support::samples(image, plane));
  return planes;
}

class text_layer_test : public testing::Test {
 protected:
  img::const_image_ptr shown(const ksn::track_info& track, double time = 0) {
    return pipeline.layer_frame(composition, track, 0, ksn::cache_resolution_type::full, false, time);
  }
  cache::frame_cache cache;
  ksn::state composition;
  std::vector<std::string> lines;
  std::time_t clock = 1700000000;
  render::pipeline pipeline{
      cache, {true, [this](const std::string& line) { lines.push_back(line); }, {}, nullptr, [this] { return clock; }}};
};

TEST_F(text_layer_test, InkLiesWhereTheAlignmentSays) {
  for (int x = 0; x < 3; ++x) {
    for (int y = 0; y < 3; ++y) {
      ksn::track_info track = text_layer("HIH");
      track.lettering.text_attr.align_x = static_cast<ksn::text_align_x_type>(x);
      track.lettering.text_attr.align_y = static_cast<ksn::text_align_y_type>(y);
      const img::const_image_ptr image = shown(track);
      ASSERT_TRUE(image);
      const math::rectangle ink = ink_of(*image);
      EXPECT_TRUE(ink.left >= x * width / 3 && ink.right <= (x + 1) * width / 3) << ink.left << ' ' << ink.right;
      EXPECT_TRUE(ink.top >= y * height / 3 && ink.bottom <= (y + 1) * height / 3) << ink.top << ' ' << ink.bottom;
      EXPECT_GT(ink.right - ink.left, 30);
    }
  }
  EXPECT_EQ(lines, std::vector<std::string>{});
}

TEST_F(text_layer_test, OutlineShadowAndPanelLieBelowTheLetters) {
  ksn::track_info track = text_layer("H");
  track.lettering.text_attr.color = {255, 250, 0, 0};
  const math::rectangle plain = ink_of(*shown(track));
  track.lettering.text_attr.outline_color = {255, 0, 250, 0};
  const math::rectangle outlined = ink_of(*shown(track));
  EXPECT_EQ(outlined, (math::rectangle{plain.left - 1, plain.top - 1, plain.right + 1, plain.bottom + 1}));
  track.lettering.text_attr.shadow_color = {128, 0, 0, 250};
  img::const_image_ptr image = shown(track);
  EXPECT_EQ(ink_of(*image), (math::rectangle{outlined.left, outlined.top, outlined.right + 2, outlined.bottom + 2}));
  // The middle of a stem is the letter, whole; the lowest row is shadow alone, half transparent.
  const int stem = plain.left + 1;
  const int middle = (plain.top + plain.bottom) / 2 - 4;
  EXPECT_EQ(image->row(2, middle)[stem], 250);
  EXPECT_EQ(image->row(1, middle)[stem], 0);
  EXPECT_EQ(image->row(3, middle)[stem], 255);
  const int low = outlined.bottom + 1;
  EXPECT_EQ(image->row(0, low)[stem + 2], 250);
  EXPECT_EQ(image->row(1, low)[stem + 2], 0);
  EXPECT_NEAR(image->row(3, low)[stem + 2], 128, 1);

  track.lettering.text_attr.shadow_color = none;
  track.lettering.text_attr.back_enabled = true;
  track.lettering.text_attr.back_color = {100, 10, 20, 30};
  const math::rectangle panel = ink_of(*shown(track));
  EXPECT_TRUE(panel.left < outlined.left && panel.right > outlined.right);
  EXPECT_TRUE(panel.left > 0 && panel.right < width && panel.top > 0 && panel.bottom < height);
  track.lettering.text_attr.back_cover_layer = true;
  image = shown(track);
  EXPECT_EQ(ink_of(*image), (math::rectangle{0, 0, width, height}));
  EXPECT_EQ(image->row(3, 0)[0], 100);
  EXPECT_EQ(image->row(2, 0)[0], 10);
  EXPECT_EQ(image->row(3, middle)[stem], 255);
  track.lettering.text.clear();
  EXPECT_EQ(ink_of(*shown(track)), (math::rectangle{0, 0, width, height}));
  track.lettering.text_attr.back_cover_layer = false;
  EXPECT_TRUE(ink_of(*shown(track)).empty());
}

TEST_F(text_layer_test, IsDrawnAnewWhenItsFieldsChange) {
  composition.doc.tracks.push_back(text_layer("{timeline:frame}"));
  const img::const_image_ptr three = shown(composition.doc.tracks[0], 3);
  EXPECT_EQ(shown(composition.doc.tracks[0], 3.5), three);
  EXPECT_NE(shown(composition.doc.tracks[0], 4), three);
  // A picture that somebody still holds is not drawn over, and one that nobody holds any more is empty again.
  const auto kept = bytes_of(*three);
  shown(composition.doc.tracks[0], 88888);
  shown(composition.doc.tracks[0], 77777);
  const img::const_image_ptr narrow = shown(composition.doc.tracks[0], 1);
  EXPECT_EQ(bytes_of(*three), kept);
  render::pipeline other(cache, {});
  const img::const_image_ptr fresh =
      other.layer_frame(composition, composition.doc.tracks[0], 0, ksn::cache_resolution_type::full, false, 1);
  EXPECT_EQ(bytes_of(*narrow), bytes_of(*fresh));

  composition.doc.tracks[0].lettering.text = "{clock:%S}";
  const img::const_image_ptr before = shown(composition.doc.tracks[0], 1);
  EXPECT_EQ(shown(composition.doc.tracks[0], 2), before);
  ++clock;
  EXPECT_NE(shown(composition.doc.tracks[0], 2), before);
}

TEST_F(text_layer_test, TheSameBytesOnAnyNumberOfThreads) {
  ksn::track_info track = text_layer("The same\n\u05e9\u05dc\u05d5\u05dd e\u0301");
  track.lettering.text_attr.outline_color = track.lettering.text_attr.shadow_color = {200, 0, 0, 0};
  track.look.tf.exposure = {100, 100, 100};
  std::vector<std::vector<int>> first;
  for (const int threads : {1, 2, 5}) {
    lib::set_thread_count(threads);
    pipeline.forget_all();
    const auto bytes = bytes_of(*shown(track));
    if (first.empty()) first = bytes;
    EXPECT_EQ(bytes, first) << threads;
  }
  lib::set_thread_count(0);
}

TEST_F(text_layer_test, SurvivesAnyTextAndSize) {
  std::string many_lines;
  for (int i = 0; i < 10000; ++i) many_lines += "x\n";
  const std::string texts[] = {std::string(10000, 'w'), many_lines, "\xff\xc0\x80",
                               std::string("a\0b", 3),  "   ",      "\n\n"};
  for (const std::string& text : texts) {
    for (const int size : {1, 24, 10000}) {
      ksn::track_info track = text_layer(text);
      track.lettering.text_attr.size = size;
      track.lettering.text_attr.back_enabled = true;
      track.lettering.text_attr.outline_color = track.lettering.text_attr.shadow_color = {255, 1, 2, 3};
      const img::const_image_ptr image = shown(track);
      ASSERT_TRUE(image);
      EXPECT_EQ(image->width, width);
    }
  }
  ksn::track_info track = text_layer("A face that is not there");
  track.lettering.text_attr.font = "No Such Face";
  EXPECT_FALSE(ink_of(*shown(track)).empty());
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_TRUE(lines[0].starts_with("The font \"No Such Face\" is not installed")) << lines[0];
}

}  // namespace
