#include "composition/enums.h"

#include <gtest/gtest.h>

namespace {

TEST(enums, values_are_the_stored_integers) {
  EXPECT_EQ(ksn::word_of(static_cast<ksn::source_type>(18)), "r3d");
  EXPECT_EQ(ksn::word_of(static_cast<ksn::view_type>(12)), "depth");
  EXPECT_EQ(ksn::word_of(static_cast<ksn::r3d_resolution_type>(1)), "half_premium");
  EXPECT_EQ(ksn::word_of(static_cast<ksn::channel_type>(7)), "luma");
  EXPECT_EQ(ksn::word_of(static_cast<ksn::channel_type>(5)), "5") << "no name, and can be set again";
  EXPECT_EQ(ksn::word_of(static_cast<ksn::channel_type>(8)), "");
  EXPECT_EQ(ksn::word_of(ksn::ext_device_type::aja_dshow), "aja_dshow");
  EXPECT_EQ(static_cast<int>(ksn::ext_device_type::aja_dshow), 7);

  ksn::blend_type blend = ksn::blend_type::screen;
  EXPECT_FALSE(ksn::value_of("Normal", blend));
  EXPECT_EQ(blend, ksn::blend_type::screen);
  EXPECT_TRUE(ksn::value_of("difference", blend));
  EXPECT_EQ(blend, ksn::blend_type::difference);
}

// The words that no other test sets and reads.
TEST(enums, words_in_the_order_of_their_values) {
  const auto joined = [](std::span<const ksn::enum_word> words) {
    std::string text;
    for (const auto& entry : words) text.append(entry.word) += ' ';
    return text;
  };
  EXPECT_EQ(joined(ksn::words_of<ksn::r3d_resolution_type>()), "full half_premium half quarter eighth 5 ");
  EXPECT_EQ(joined(ksn::words_of<ksn::color_space_type>()), "default linear srgb ");
  EXPECT_EQ(joined(ksn::words_of<ksn::source_type>()),
            "none image sequence rtv avi directshow quicktime wave clipboard_image shmem adjustment brush "
            "brush_sequence ph_cine text text_sequence video embedded_audio r3d ");
}

}  // namespace
