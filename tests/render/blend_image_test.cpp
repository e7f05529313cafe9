#include <gtest/gtest.h>

#include "render/blend.h"
#include "support/levels.h"
#include "support/pictures.h"

namespace {

using ksn::alpha_type;
using ksn::blend_type;
using ksn::depth_blend_type;
using render::blend_mode;
using render::rectangle;

// The samples of a plane as rows of text, '.' for 0.
std::vector<std::string> drawing(const img::image& image, int plane) {
  std::vector<std::string> rows;
  for (int y = 0; y < image.height; ++y) {
    rows.emplace_back();
    for (int x = 0; x < image.width; ++x) {
      const int sample = image.row(plane, y)[x];
      rows.back() += sample == 0 ? '.' : sample < 10 ? static_cast<char>('0' + sample) : 'x';
    }
  }
  return rows;
}

TEST(blend_image, position_and_clip) {
  // 3 by 2 samples, the anchor at the middle (1, 1).
  img::image source = support::picture("BGR", 3, 2);
  for (int i = 0; i < 6; ++i) source.data[0].data()[i] = static_cast<std::uint8_t>(i + 1);
  const struct {
    math::point position;
    std::vector<rectangle> clip;  // none or one
    std::vector<std::string> expected;
  } cases[] = {
      {{2, 1}, {}, {".123.", ".456.", "....."}},
      {{0, 0}, {}, {"56...", ".....", "....."}},
      {{5, 3}, {}, {".....", ".....", "....1"}},
      {{6, 4}, {}, {".....", ".....", "....."}},
      {{-2, 1}, {}, {".....", ".....", "....."}},
      {{2, 1}, {{2, 1, 3, 2}}, {".....", "..5..", "....."}},
      {{2, 1}, {{-9, -9, 2, 99}}, {".1...", ".4...", "....."}},
      {{2, 1}, {{3, 0, 3, 3}}, {".....", ".....", "....."}},
      {{2, 1}, {{4, 0, 2, 3}}, {".....", ".....", "....."}},
  };
  for (const auto& test : cases) {
    img::image target = support::picture("BGRA", 5, 3);
    render::blend_image(target, source, test.position, {}, test.clip.empty() ? nullptr : &test.clip[0]);
    EXPECT_EQ(drawing(target, 0), test.expected) << test.position.x << "," << test.position.y;
    // An opaque copy makes what it covers opaque.
    for (int i = 0; i < 15; ++i) {
      EXPECT_EQ(target.data[3].data()[i], target.data[0].data()[i] ? 255 : 0);
    }
  }
}

// Sample 220 with alpha 139 on 236 over 143: blend `multiply` gives 218 in the bulk of a row and 217 in its tail.
TEST(blend_image, bulk_and_tail_count_from_the_first_column_that_is_drawn) {
  const img::image source = support::picture("BGRA", 20, 2, {220, 220, 220, 139});
  const blend_mode multiply{alpha_type::normal, blend_type::multiply};
  for (const int left : {0, 3, 5}) {
    img::image target = support::picture("BGRA", 20, 2, {236, 236, 236, 143});
    const rectangle clip{left, 1, left + 15, 2};
    render::blend_image(target, source, {10, 1}, multiply, &clip);
    for (int x = 0; x < 20; ++x) {
      const int expected = x < left || x >= left + 15 ? 236 : x < left + 8 ? 218 : 217;
      EXPECT_EQ(target.row(2, 1)[x], expected) << left << " column " << x;
      EXPECT_EQ(target.row(2, 0)[x], 236);
    }
  }
  // The columns of a hint are a span of their own; the last one is part of it. The second row has none.
  img::image hinted = source;
  hinted.hint[3] = {{2, 16}, {5, 4}};
  img::image target = support::picture("BGRA", 20, 2, {236, 236, 236, 143});
  render::blend_image(target, hinted, {10, 1}, multiply, nullptr);
  for (int x = 0; x < 20; ++x) {
    EXPECT_EQ(target.row(0, 0)[x], x < 2 || x > 16 ? 236 : x < 10 ? 218 : 217) << x;
    EXPECT_EQ(target.row(0, 1)[x], 236) << x;
  }
  // Columns outside the picture do no harm, and clips cut hints.
  hinted.hint[3] = {{-100, 3}, {17, 1000000}};
  target = support::picture("BGRA", 20, 2, {236, 236, 236, 143});
  const rectangle clip{1, 0, 18, 2};
  render::blend_image(target, hinted, {10, 1}, multiply, &clip);
  for (int x = 0; x < 20; ++x) {
    EXPECT_EQ(target.row(0, 0)[x] != 236, x >= 1 && x <= 3) << x;
    EXPECT_EQ(target.row(0, 1)[x] != 236, x == 17) << x;
  }
}

TEST(blend_image, planes_of_source_and_target) {
  const struct {
    const char* source;
    std::vector<int> samples;
    const char* target;
    alpha_type alpha;
    std::vector<int> expected;  // of a target of 40, 50, 60 and alpha 70
  } cases[] = {
      {"L", {200}, "BGRA", alpha_type::ignore, {200, 200, 200, 255}},
      {"BGR", {1, 2, 3}, "BGRA", alpha_type::normal, {1, 2, 3, 255}},  // no alpha: as `ignore`
      {"BGRA", {1, 2, 3, 0}, "BGRA", alpha_type::normal, {40, 50, 60, 70}},
      {"BGRA", {1, 2, 3, 0}, "BGRA", alpha_type::ignore, {1, 2, 3, 255}},
      {"LA", {200, 0}, "BGRA", alpha_type::normal, {40, 50, 60, 70}},
      {"LA", {200, 255}, "BGRA", alpha_type::normal, {200, 200, 200, 255}},
      {"BGR", {1, 2, 3}, "L", alpha_type::ignore, {1}},
      {"L", {200}, "L", alpha_type::ignore, {200}},
      {"BGRA", {1, 2, 3, 255}, "BGR", alpha_type::normal, {1, 2, 3}},
  };
  for (const auto& test : cases) {
    img::image target = support::picture(test.target, 8, 2, {40, 50, 60, 70});
    render::blend_image(target, support::picture(test.source, 8, 2, test.samples), {4, 1}, {test.alpha}, nullptr);
    for (std::size_t p = 0; p < test.expected.size(); ++p) {
      EXPECT_EQ(support::samples(target, static_cast<int>(p)), std::vector<int>(16, test.expected[p]))
          << test.source << " on " << test.target << " plane " << p;
    }
  }
}

TEST(blend_image, pictures_of_other_forms_are_left_out) {
  img::image half("BGR", 16, 4, 4);
  img::image packed("U", 32, 4, 4);
  for (const img::image* source : {&half, &packed}) {
    img::image target = support::picture("BGRAZ", 4, 4, {1, 2, 3, 4, 5});
    const img::image before = target;
    render::blend_image(target, *source, {0, 0}, {}, nullptr);
    EXPECT_EQ(support::differing_plane(target, before), -1);
  }
  img::image nothing;
  img::image target = support::picture("BGRAZ", 4, 4);
  render::blend_image(target, nothing, {0, 0}, {}, nullptr);
  render::blend_image(nothing, target, {0, 0}, {}, nullptr);
  render::blend_scaled(target, target, {0, 0}, {}, {0, 1000, 0, 1000}, nullptr, false, false);
}

TEST(blend_image, depth) {
  const struct {
    depth_blend_type depth;
    int source, target, expected;
  } cases[] = {
      {depth_blend_type::ignore, 90, 30, 30},  {depth_blend_type::replace, 90, 30, 90},
      {depth_blend_type::replace, 10, 30, 10}, {depth_blend_type::combine, 90, 30, 90},
      {depth_blend_type::combine, 10, 30, 30},
  };
  for (const auto& test : cases) {
    for (const int opacity : {100, 0}) {
      for (const int scale : {1, 2}) {
        img::image source = support::picture("BGRAZ", 9, 3, {0, 0, 0, 0, test.source});
        source.hint[3].assign(3, {1, 0});  // limits colours and alpha only
        img::image target = support::picture("BGRAZ", 9, 3, {0, 0, 0, 0, test.target});
        const blend_mode mode{alpha_type::normal, blend_type::normal, test.depth, opacity};
        render::blend_scaled(target, source, {4, 1}, mode, {scale, 1, scale, 1}, nullptr, false, false);
        EXPECT_EQ(support::samples(target, 4), std::vector<int>(27, test.expected)) << scale;
      }
    }
  }
  // Without depth in one of both nothing happens to it.
  img::image target = support::picture("BGRA", 9, 3, {1, 1, 1, 1});
  const blend_mode replace{alpha_type::ignore, blend_type::normal, depth_blend_type::replace};
  render::blend_image(target, support::picture("BGRAZ", 9, 3), {4, 1}, replace, nullptr);
  EXPECT_EQ(support::samples(target, 0), std::vector<int>(27, 0));
  img::image deep = support::picture("BGRAZ", 9, 3, {1, 1, 1, 1, 77});
  render::blend_image(deep, support::picture("BGR", 9, 3), {4, 1}, replace, nullptr);
  EXPECT_EQ(support::samples(deep, 4), std::vector<int>(27, 77));
}

TEST(blend_scaled, samples_and_flips) {
  // 4 by 2; at 3/2 it is 6 by 3 with the columns 0 0 1 2 2 3 and the rows 0 0 1. At 1/2 it is 2 by 1.
  // Each plane tells where it was taken from.
  img::image source = support::picture("BGRAZ", 4, 2);
  constexpr int factors[] = {1, 2, 3, 31, 5};
  for (int p = 0; p < 5; ++p) {
    for (int i = 0; i < 8; ++i) source.data[p].data()[i] = static_cast<std::uint8_t>((i + 1) * factors[p]);
  }
  const struct {
    render::layer_geometry scale;
    math::point position;
    bool flip_x, flip_y;
    std::vector<std::string> expected;
  } cases[] = {
      {{3, 2, 3, 2}, {3, 1}, false, false, {"112334.", "112334.", "556778.", "......."}},
      {{3, 2, 3, 2}, {3, 1}, true, false, {"443221.", "443221.", "887665.", "......."}},
      {{3, 2, 3, 2}, {3, 1}, false, true, {"556778.", "556778.", "112334.", "......."}},
      {{1, 1, 1, 1}, {2, 1}, true, true, {"8765...", "4321...", ".......", "......."}},
      // Clipped at the left and at the top: the columns go on counting from the scaled edge.
      {{3, 2, 3, 2}, {1, 0}, false, false, {"2334...", "6778...", ".......", "......."}},
      {{1, 2, 1, 2}, {1, 0}, false, false, {"13.....", ".......", ".......", "......."}},
      {{1, 2, 2, 1}, {1, 2}, false, false, {"13.....", "13.....", "57.....", "57....."}},
  };
  for (const auto& test : cases) {
    // Opaque plates are sampled straight into the target; the others go through the row operations.
    const blend_mode modes[] = {{alpha_type::ignore, blend_type::normal, depth_blend_type::replace},
                                {alpha_type::ignore, blend_type::normal, depth_blend_type::combine},
                                {alpha_type::pm, blend_type::add, depth_blend_type::replace}};
    for (const blend_mode& mode : modes) {
      img::image target = support::picture("BGRAZ", 7, 4);
      render::blend_scaled(target, source, test.position, mode, test.scale, nullptr, test.flip_x, test.flip_y);
      EXPECT_EQ(drawing(target, 0), test.expected) << &test - cases;
      const bool plate = mode.alpha == alpha_type::ignore;
      for (int p = 1; p < 5; ++p) {
        for (int i = 0; i < 28; ++i) {
          const int sample = target.data[0].data()[i] * factors[p];
          EXPECT_EQ(target.data[p].data()[i], p == 3 && plate && sample ? 255 : sample) << &test - cases << " " << p;
        }
      }
    }
  }
}

// Runs of layers that may share their rows, over a background and in strips, against whole layers one at a time on a
// filled picture, by any number of threads.
TEST(draw_blends, together_as_one_at_a_time) {
  std::vector<img::image> pictures;
  for (unsigned seed = 0; seed < 7; ++seed) {
    pictures.push_back(support::random_picture(seed % 3 == 2 ? "BGR" : "BGRAZ", 95, 62, seed));
  }
  pictures[5].hint[3].assign(62, {10, 50});
  std::mt19937 random(11);
  for (int round = 0; round < 200; ++round) {
    lib::set_thread_count(1 + round % 3);
    img::image together = support::random_picture("BGRAZ", 95, 62, 99);
    img::image single = support::picture("BGRAZ", 95, 62, {10, 200, 30, 0, 7});
    const render::background below{10, 200, 30, 0, 7};
    std::vector<render::planned_blend> blends;
    // One to three different modes and places in a stack, so that neighbours are often alike.
    for (unsigned count = random() % 6; count > 0; --count) {
      const unsigned pick = random() % 4;
      const blend_mode mode{pick == 0 ? alpha_type::pm : alpha_type::normal,
                            pick == 1 ? blend_type::add : blend_type::normal, depth_blend_type::combine,
                            round % 2 ? 100 : 30 + static_cast<int>(count)};
      const math::point position{pick == 2 ? 50 : 47, round % 5 == 0 ? 28 : 31};
      const render::layer_geometry scale = pick == 3 ? render::layer_geometry{2, 1, 1, 1} : render::layer_geometry{};
      const img::image& picture = pictures[random() % 7];
      blends.push_back(render::plan_blend(picture, position, mode, scale, false, false));
      render::blend_scaled(single, picture, position, mode, scale, nullptr, false, false);
    }
    for (int y = 0; y < 62; y += 4) render::draw_blends(together, blends, {0, y, 95, y + 4}, &below);
    EXPECT_EQ(support::differing_plane(together, single), -1) << "round " << round;
  }
  lib::set_thread_count(0);
}

}  // namespace
