#include "ui/sampling_choice.h"

#include <gtest/gtest.h>

namespace {

TEST(sampling_choice, gives_way_before_a_frame_is_lost_and_comes_back) {
  ui::sampling_choice choice;
  const auto picture = [&](bool moving, long long took) {
    choice.picture(moving, took, 100);
    return choice.plain();
  };
  EXPECT_FALSE(picture(true, 80));
  EXPECT_FALSE(picture(true, 90));  // one may be an accident
  EXPECT_FALSE(picture(true, 50));
  EXPECT_FALSE(picture(true, 90));
  EXPECT_TRUE(picture(true, 81));
  const auto pictures_until_a_try = [&] {
    int count = 0;
    while (picture(true, 10)) ++count;
    return count;
  };
  EXPECT_EQ(pictures_until_a_try(), 47);
  EXPECT_TRUE(picture(true, 101));
  EXPECT_EQ(pictures_until_a_try(), 95) << "not back and forth all the time";
  EXPECT_FALSE(picture(false, 500));
  EXPECT_TRUE(picture(true, 101));
  choice.stop();
  EXPECT_FALSE(choice.plain());
}

}  // namespace
