#include <gtest/gtest.h>

#include "render/stereo.h"
#include "support/levels.h"
#include "support/pictures.h"

namespace {

using ksn::stereo_view_type;

// Target 100, 110, 120 and alpha 130; other eye 200, 50, 90 and alpha 30.
struct merge_case {
  stereo_view_type mode;
  int phase;
  std::vector<int> plane[4];  // 3 by 2 pixels
};

TEST(stereo, merges_by_hand) {
  const auto all = [](int v) { return std::vector<int>(6, v); };
  const merge_case cases[] = {
      // ((200 - 50) * 76 >> 8) + 50 = 44 + 50
      {stereo_view_type::anaglyph, 0, {all(100), all(110), all(94), all(130)}},
      {stereo_view_type::interlaced,
       0,
       {{200, 200, 200, 100, 100, 100},
        {50, 50, 50, 110, 110, 110},
        {90, 90, 90, 120, 120, 120},
        {30, 30, 30, 130, 130, 130}}},
      {stereo_view_type::checkerboard,
       0,
       {{200, 100, 200, 100, 200, 100},
        {50, 110, 50, 110, 50, 110},
        {90, 120, 90, 120, 90, 120},
        {30, 130, 30, 130, 30, 130}}},
      {stereo_view_type::checkerboard,
       -3,
       {{100, 200, 100, 200, 100, 200},
        {110, 50, 110, 50, 110, 50},
        {120, 90, 120, 90, 120, 90},
        {130, 30, 130, 30, 130, 30}}},
      // ((50 - 100) * 150 >> 8) + 100 = -30 + 100 and ((50 - 120) * 150 >> 8) + 120 = -42 + 120
      {stereo_view_type::anaglyph_gm, 0, {all(70), all(110), all(78), all(130)}},
  };
  const img::image other = support::picture("BGRA", 3, 2, {200, 50, 90, 30});
  for (const merge_case& c : cases) {
    img::image target = support::picture("BGRA", 3, 2, {100, 110, 120, 130});
    render::merge_stereo(target, other, c.mode, c.phase);
    for (int p = 0; p < 4; ++p) {
      EXPECT_EQ(support::samples(target, p), c.plane[p]) << ksn::word_of(c.mode) << " plane " << p;
    }
  }
}

TEST(stereo, same_picture_for_every_number_of_threads_and_every_level) {
  const img::image left = support::random_picture("BGRAZ", 83, 61, 1);
  const img::image right = support::random_picture("BGRAZ", 83, 61, 2);
  for (const auto mode : {stereo_view_type::anaglyph, stereo_view_type::interlaced, stereo_view_type::checkerboard,
                          stereo_view_type::anaglyph_gm}) {
    lib::set_thread_count(1);
    img::image expected = left;
    render::merge_stereo(expected, right, mode, 0);
    support::every_level([&](const char* level) {
      support::every_thread_count([&](int threads) {
        img::image found = left;
        render::merge_stereo(found, right, mode, 0);
        EXPECT_EQ(support::differing_plane(found, expected), -1) << ksn::word_of(mode) << level << threads;
      });
    });
  }
}

}  // namespace
