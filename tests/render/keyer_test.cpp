#include <gtest/gtest.h>

#include <climits>

#include "render/keyer.h"
#include "support/levels.h"
#include "support/pictures.h"

namespace {

ksn::color_key key_of(lib::color color, int tolerance, int slope) {
  ksn::color_key key;
  key.enabled = true;
  key.key = color;
  key.tolerance = tolerance;
  key.slope = slope;
  return key;
}

const lib::color green{255, 20, 220, 40};

TEST(keyer, alpha_by_hand) {
  const struct {
    int b, g, r, tolerance, slope, expected;
  } cases[] = {
      {40, 220, 20, 48, 6, 0},                                           // the key itself
      {40, 220, 68, 48, 6, 0},                                           // 48 away: just within
      {40, 220, 69, 48, 6, 3},                                           // 1 beyond, times 6 / 2
      {40, 221, 71, 48, 1, 2},                                           // 52 away: 4 / 2
      {41, 220, 70, 48, 1, 1},                                           // 51 away: 3 / 2 loses the half
      {0, 175, 20, 0, 6, 255},                                           // 40 + 45: exactly 255
      {0, 176, 20, 0, 6, 252},                                           // 84 * 3
      {40, 220, 20, -10, 2, 10},                                         // a negative tolerance
      {255, 0, 255, 48, 6, 255},                                         // far off
      {255, 0, 255, 48, 0, 0},                                           // no slope: nothing is opaque
      {40, 220, 20, 48, -6, 144},                                        // a negative slope keys the rest away
      {255, 0, 255, 48, -6, 0},         {40, 220, 21, 0, INT_MAX, 255},  // no number overflows
      {40, 220, 20, 0, INT_MAX, 0},     {0, 0, 0, INT_MAX, INT_MIN, 255},
      {0, 0, 0, INT_MIN, INT_MAX, 255}, {0, 0, 0, INT_MAX, INT_MAX, 0},
  };
  for (const auto& c : cases) {
    img::image image = support::picture("BGR", 9, 1, {c.b, c.g, c.r});
    render::apply_keys(image, key_of(green, c.tolerance, c.slope), {});
    EXPECT_EQ(support::samples(image, 3), std::vector<int>(9, c.expected)) << &c - cases;
  }
}

// 15 pixels a row: eights and a tail. The red values cover all, so do the differences up to 765.
TEST(keyer, eights_and_tail_agree_for_all_differences) {
  img::image image = support::picture("BGRA", 15, 256 * 4);
  for (std::size_t i = 0; i < image.data[0].size(); ++i) {
    const auto pixel = static_cast<unsigned>(i / 15);
    image.data[2].data()[i] = static_cast<std::uint8_t>(pixel);
    image.data[1].data()[i] = pixel < 256 ? 0 : 255;
    image.data[0].data()[i] = pixel < 512 ? 0 : pixel < 768 ? 255 : static_cast<std::uint8_t>(pixel * 37);
  }
  support::every_level([&](const char* level) {
    for (const int slope : {1, 2, 3, 6, 85, 509, 510, 511, -7}) {
      for (const int tolerance : {0, 48, 300, 764, -50}) {
        const ksn::color_key key = key_of({255, 0, 0, 0}, tolerance, slope);
        render::apply_keys(image, key, {});
        for (std::size_t i = 0; i < image.data[0].size(); ++i) {
          const int distance = image.data[0].data()[i] + image.data[1].data()[i] + image.data[2].data()[i];
          const int expected = std::clamp((distance - tolerance) * slope / 2, 0, 255);
          ASSERT_EQ(image.data[3].data()[i], expected) << level << " pixel " << i << " distance " << distance
                                                       << " tolerance " << tolerance << " slope " << slope;
        }
      }
    }
  });
}

TEST(keyer, two_keys_leave_the_lesser_alpha) {
  const ksn::color_key on_green = key_of({255, 0, 255, 0}, 10, 2);
  const ksn::color_key on_blue = key_of({255, 0, 0, 255}, 20, 4);
  // Distances to green and blue: 100 and 410, then 460 and 50.
  img::image image = support::picture("BGRA", 2, 1, {0, 0, 0, 77});
  image.row(0, 0)[0] = 50, image.row(1, 0)[0] = 205;
  image.row(0, 0)[1] = 230, image.row(1, 0)[1] = 25;
  img::image only_second = image;
  render::apply_keys(image, on_green, on_blue);
  EXPECT_EQ(support::samples(image, 3), (std::vector<int>{90, 60}));
  // One key alone replaces the alpha, whichever of the two it is.
  ksn::color_key off = on_green;
  off.enabled = false;
  render::apply_keys(only_second, off, on_blue);
  EXPECT_EQ(support::samples(only_second, 3), (std::vector<int>{255, 60}));
  render::apply_keys(only_second, off, off);
  EXPECT_EQ(support::samples(only_second, 3), (std::vector<int>{255, 60}));
}

TEST(keyer, a_gray_picture_is_completed) {
  img::image image = support::picture("L", 10, 3, {90});
  render::apply_keys(image, key_of({255, 90, 90, 80}, 0, 2), {});
  EXPECT_EQ(support::letters_of(image), "BGRA");
  for (const int plane : {0, 1, 2}) EXPECT_EQ(support::samples(image, plane), std::vector<int>(30, 90));
  EXPECT_EQ(support::samples(image, 3), std::vector<int>(30, 10));
  EXPECT_EQ(image.depth[3], 8);
}

}  // namespace
