#include "render/stereo.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/pictures.h"

namespace {

using ksn::stereo_view_type;

// In the second row everything is lighter by 10. `other_eye` marks the pixels, row by row, that come from the other
// eye; the rest has the samples of `expected`.
struct merge_case {
  stereo_view_type mode;
  int phase;
  std::string other_eye;
  std::vector<int> expected;
};

TEST(stereo, merges_by_hand) {
  const std::vector<int> own{100, 110, 120, 130};
  const std::vector<int> other{200, 50, 90, 30};
  const merge_case cases[] = {
      {stereo_view_type::anaglyph, 0, "......", {100, 110, 94, 130}},  // ((200 - 50) * 76 >> 8) + 50 = 44 + 50
      {stereo_view_type::interlaced, 0, "###...", own},
      {stereo_view_type::checkerboard, 0, "#.#.#.", own},
      {stereo_view_type::checkerboard, -3, ".#.#.#", own},
      // ((50 - 100) * 150 >> 8) + 100 = -30 + 100 and ((50 - 120) * 150 >> 8) + 120 = -42 + 120
      {stereo_view_type::anaglyph_gm, 0, "......", {70, 110, 78, 130}},
  };
  for (const merge_case& c : cases) {
    img::image target = support::picture("BGRA", 3, 2, own);
    img::image eye = support::picture("BGRA", 3, 2, other);
    for (img::image* image : {&target, &eye}) {
      for (int p = 0; p < 4; ++p) std::for_each_n(image->row(p, 1), 3, [](std::uint8_t& sample) { sample += 10; });
    }
    render::merge_stereo(target, eye, c.mode, c.phase);
    for (std::size_t p = 0; p < 4; ++p) {
      std::vector<int> expected;
      for (const char from : c.other_eye) {
        expected.push_back((from == '#' ? other[p] : c.expected[p]) + (expected.size() < 3 ? 0 : 10));
      }
      EXPECT_EQ(support::samples(target, static_cast<int>(p)), expected) << ksn::word_of(c.mode) << " plane " << p;
    }
  }
}

}  // namespace
