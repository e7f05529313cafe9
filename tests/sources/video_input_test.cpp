// Video inputs, by the one that FFmpeg's filters make.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "sources/video_input.h"
#include "support/pictures.h"
#include "support/wait.h"

namespace {

class video_input : public testing::Test {
 protected:
  void SetUp() override { setenv("KESTRIN_TEST_INPUT", "testsrc2=size=320x180:rate=50", 1); }
  void TearDown() override { unsetenv("KESTRIN_TEST_INPUT"); }

  static std::shared_ptr<sources::live_source> open() {
    std::string reason;
    auto opened = sources::open_input("Test input", reason);
    EXPECT_TRUE(opened) << reason;
    return opened;
  }
  // The first picture after `before`.
  static img::const_image_ptr next(sources::live_source& input, const img::const_image_ptr& before) {
    img::const_image_ptr picture;
    EXPECT_TRUE(support::wait_until([&] { return (picture = input.newest()) && picture != before; }));
    return picture;
  }
};

TEST_F(video_input, inputs_by_name) {
  const std::vector<std::string> names = sources::list_inputs();
  EXPECT_EQ(std::count(names.begin(), names.end(), "Test input"), 1);
  std::string reason;
  EXPECT_FALSE(sources::open_input("No such camera", reason));
  EXPECT_EQ(reason, "There is no such video input");
  setenv("KESTRIN_TEST_INPUT", "no_such_filter=1", 1);
  EXPECT_FALSE(sources::open_input("Test input", reason));
  EXPECT_NE(reason, "");
  unsetenv("KESTRIN_TEST_INPUT");
  EXPECT_FALSE(sources::open_input("Test input", reason));
}

TEST_F(video_input, the_newest_picture_again_and_again) {
  const auto input = open();
  ASSERT_TRUE(input);
  EXPECT_EQ(input->width(), 320);
  EXPECT_EQ(input->height(), 180);
  EXPECT_FALSE(input->has_alpha());
  const auto first = next(*input, nullptr);
  EXPECT_EQ(first->width, 320);
  EXPECT_EQ(first->height, 180);
  EXPECT_EQ(first->user[0], (math::point{160, 90}));
  EXPECT_EQ(support::letters_of(*first), "BGR");
  const img::image kept = *first;
  const auto second = next(*input, first);
  EXPECT_GE(support::differing_plane(*second, *first), 0) << "the pattern moves";
  EXPECT_EQ(support::differing_plane(*first, kept), -1) << "a picture that was given stays as it was";
}

TEST_F(video_input, one_that_goes_away_leaves_its_last_picture_and_a_note) {
  setenv("KESTRIN_TEST_INPUT", "testsrc2=size=64x48:rate=25:duration=0.2", 1);
  const auto input = open();
  ASSERT_TRUE(input);
  img::const_image_ptr last;
  ASSERT_TRUE(support::wait_until([&] { return (last = input->newest()) && !last->note.empty(); }));
  EXPECT_EQ(last->note, "The video input is gone: End of file");
  const std::vector<int> greens = support::samples(*last, 1);
  EXPECT_GT(*std::max_element(greens.begin(), greens.end()), 100);
  EXPECT_EQ(input->newest(), last);
}

TEST_F(video_input, closes_while_pictures_come) {
  setenv("KESTRIN_TEST_INPUT", "testsrc2=size=320x180:rate=400", 1);
  for (int i = 0; i < 20; ++i) {
    const auto input = open();
    ASSERT_TRUE(input);
    const auto other = open();
    if (i % 2) next(*input, nullptr);
  }
}

}  // namespace
