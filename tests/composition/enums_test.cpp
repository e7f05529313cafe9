#include "composition/enums.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::vector<std::string> words(std::span<const ksn::enum_word> table) {
  std::vector<std::string> list;
  for (const auto& entry : table) list.emplace_back(entry.word);
  return list;
}

TEST(enums, values_are_the_stored_integers) {
  EXPECT_EQ(ksn::word_of(ksn::source_type::r3d), "r3d");
  EXPECT_EQ(static_cast<int>(ksn::source_type::r3d), 18);
  EXPECT_EQ(ksn::word_of(ksn::view_type::depth), "depth");
  EXPECT_EQ(static_cast<int>(ksn::view_type::depth), 12);
  EXPECT_EQ(ksn::word_of(ksn::words_of<ksn::channel_type>(), 7), "luma");
  EXPECT_EQ(ksn::word_of(ksn::words_of<ksn::channel_type>(), 5), "");
  EXPECT_EQ(words(ksn::words_of<ksn::r3d_resolution_type>()),
            (std::vector<std::string>{"full", "half_premium", "half", "quarter", "eighth"}));
  EXPECT_EQ(words(ksn::words_of<ksn::color_space_type>()), (std::vector<std::string>{"default", "linear", "srgb"}));

  ksn::blend_type blend = ksn::blend_type::screen;
  EXPECT_FALSE(ksn::value_of("Normal", blend));
  EXPECT_EQ(blend, ksn::blend_type::screen);
  EXPECT_TRUE(ksn::value_of("difference", blend));
  EXPECT_EQ(blend, ksn::blend_type::difference);

  EXPECT_EQ(ksn::checked_enum(5, ksn::channel_type::alpha), ksn::channel_type::alpha);
  EXPECT_EQ(ksn::checked_enum(7, ksn::channel_type::alpha), ksn::channel_type::luma);
  EXPECT_EQ(ksn::checked_enum(-1, ksn::repeat_type::loop), ksn::repeat_type::loop);
}

}  // namespace
