#include <gtest/gtest.h>

#include "img/transfer.h"
#include "render/channels.h"
#include "support/levels.h"
#include "support/pictures.h"

namespace {

using ksn::view_type;

// What each value makes of the colours; letters name the source plane, 0 is black, Y the luminance.
struct channel_case {
  view_type channels;
  const char* expected;  // of blue, green, red
};

const channel_case channel_cases[] = {
    {view_type::b_grayscale, "BBB"}, {view_type::b_color, "B00"}, {view_type::b_hidden, "0GR"},
    {view_type::g_grayscale, "GGG"}, {view_type::g_color, "0G0"}, {view_type::g_hidden, "B0R"},
    {view_type::r_grayscale, "RRR"}, {view_type::r_color, "00R"}, {view_type::r_hidden, "BG0"},
    {view_type::rgb, "BGR"},         {view_type::alpha, "AAA"},   {view_type::luma, "YYY"},
    {view_type::depth, "ZZZ"},
};

std::string name_of(view_type channels) {
  return std::string(ksn::word_of(channels));
}

TEST(channels, of_bytes) {
  // (54 * 200 + 183 * 150 + 19 * 30) >> 8 = 38820 >> 8 = 151
  const std::map<char, int> values{{'B', 30}, {'G', 150}, {'R', 200}, {'A', 77}, {'Z', 5}, {'0', 0}, {'Y', 151}};
  for (const channel_case& c : channel_cases) {
    img::image image = support::picture("BGRAZ", 5, 3, {30, 150, 200, 77, 5});
    render::select_channels(image, c.channels);
    for (int plane = 0; plane < 3; ++plane) {
      EXPECT_EQ(support::samples(image, plane), std::vector<int>(15, values.at(c.expected[plane])))
          << name_of(c.channels) << " plane " << plane;
    }
    EXPECT_EQ(support::samples(image, 3), std::vector<int>(15, 77)) << name_of(c.channels);
    EXPECT_EQ(support::samples(image, 4), std::vector<int>(15, 5)) << name_of(c.channels);
  }
}

TEST(channels, of_halves) {
  // 0.25, 0.5, 1, and 0.2126 + 0.3576 + 0.01805 = 0.58825: 0x38B5 is 0.58838, its neighbour below 0.58789.
  const std::map<char, int> values{{'B', 0x3400}, {'G', 0x3800}, {'R', 0x3C00}, {'A', 0x3A00},
                                   {'Z', 0x4500}, {'0', 0},      {'Y', 0x38B5}};
  for (const channel_case& c : channel_cases) {
    img::image image("BGRAZ", 16, 4, 2);
    int plane = 0;
    for (const char letter : {'B', 'G', 'R', 'A', 'Z'}) {
      std::fill_n(image.row<std::uint16_t>(plane++, 0), 8, static_cast<std::uint16_t>(values.at(letter)));
    }
    render::select_channels(image, c.channels);
    for (int p = 0; p < 3; ++p) {
      EXPECT_EQ(support::samples<std::uint16_t>(image, p), std::vector<int>(8, values.at(c.expected[p])))
          << name_of(c.channels) << " plane " << p;
    }
  }
}

std::uint32_t word(unsigned b, unsigned g, unsigned r) {
  return r << 22 | g << 12 | b << 2;
}

img::image packed(char form, std::uint32_t host_word) {
  img::image image(std::string(1, form), 32, 3, 2);
  if (form == 'U') host_word = __builtin_bswap32(host_word);
  std::fill_n(image.row<std::uint32_t>(0, 0), 6, host_word);
  return image;
}

TEST(channels, of_packed_words) {
  struct packed_case {
    view_type channels;
    std::uint32_t expected;
  };
  const packed_case cases[] = {
      {view_type::b_grayscale, word(100, 100, 100)},
      {view_type::b_color, word(100, 0, 0)},
      {view_type::b_hidden, word(0, 500, 1023)},
      {view_type::g_grayscale, word(500, 500, 500)},
      {view_type::g_color, word(0, 500, 0)},
      {view_type::g_hidden, word(100, 0, 1023)},
      {view_type::r_grayscale, word(1023, 1023, 1023)},
      {view_type::r_color, word(0, 0, 1023)},
      {view_type::r_hidden, word(100, 500, 0)},
  };
  for (const char form : {'U', 'u', 'V', 'W'}) {
    for (const packed_case& c : cases) {
      img::image image = packed(form, word(100, 500, 1023));
      render::select_channels(image, c.channels);
      EXPECT_EQ(image.format[0], form == 'U' ? 'u' : form) << name_of(c.channels);
      for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(image.row<std::uint32_t>(0, 0)[i], c.expected) << form << ' ' << name_of(c.channels);
      }
    }
    img::image untouched = packed(form, word(100, 500, 1023));
    render::select_channels(untouched, view_type::rgb);
    EXPECT_EQ(support::differing_plane(untouched, packed(form, word(100, 500, 1023))), -1) << form;
  }
}

// A gray word of code 685 is white: byte 255, luminance (54 + 183 + 19) * 255 >> 8 = 255, sRGB decoded 1.0 and so code
// 685 again. Code 95 is black and stays.
TEST(channels, luminance_of_packed_words_is_a_log_code) {
  for (const char form : {'U', 'u', 'W'}) {
    for (const unsigned code : {95u, 685u}) {
      img::image image = packed(form, word(code, code, code));
      render::select_channels(image, view_type::luma);
      EXPECT_EQ(image.format[0], 'u');
      EXPECT_EQ(image.row<std::uint32_t>(0, 0)[5], word(code, code, code)) << form << ' ' << code;
    }
  }
  // Red alone: byte 255, luminance 54 * 255 >> 8 = 53, linear 0.0356, code 685 - trunc(300 * 1.337).
  img::image red = packed('u', word(95, 95, 685));
  render::select_channels(red, view_type::luma);
  EXPECT_EQ(red.row<std::uint32_t>(0, 0)[0], word(284, 284, 284));
}

TEST(channels, alpha_and_depth_of_a_packed_picture_become_bytes) {
  for (const view_type channels : {view_type::alpha, view_type::depth}) {
    img::image image = packed('U', word(1, 2, 3));
    image.set_plane(1, 'A', 8);
    image.set_plane(2, 'Z', 8);
    std::fill_n(image.row(1, 0), 6, std::uint8_t{40});
    std::fill_n(image.row(2, 0), 6, std::uint8_t{50});
    image.path = "/a/b.dpx";
    image.mtime = 7;
    render::select_channels(image, channels);
    EXPECT_EQ(support::letters_of(image), "BGR");
    EXPECT_EQ(image.depth[0], 8);
    EXPECT_EQ(image.path, "/a/b.dpx");
    EXPECT_EQ(image.mtime, 7);
    for (int p = 0; p < 3; ++p) {
      EXPECT_EQ(support::samples(image, p), std::vector<int>(6, channels == view_type::alpha ? 40 : 50));
    }
    // Without the plane nothing happens.
    img::image bare = packed('U', word(1, 2, 3));
    render::select_channels(bare, channels);
    EXPECT_EQ(support::differing_plane(bare, packed('U', word(1, 2, 3))), -1);
  }
}

TEST(channels, absent_planes_are_left_out) {
  for (const channel_case& c : channel_cases) {
    img::image gray = support::picture("L", 4, 2, {60});
    render::select_channels(gray, c.channels);
    EXPECT_EQ(support::letters_of(gray), "L") << name_of(c.channels);
    // Only what hides or clears plane 0 shows.
    const bool cleared =
        c.channels == view_type::b_hidden || c.channels == view_type::g_color || c.channels == view_type::r_color;
    EXPECT_EQ(support::samples(gray, 0), std::vector<int>(8, cleared ? 0 : 60)) << name_of(c.channels);
  }
}

TEST(channels, alpha_behind_a_gray_plane_is_found) {
  img::image image = support::picture("LA", 4, 2, {60, 90});
  EXPECT_FALSE(render::planes_in_place(image));
  render::select_channels(image, view_type::alpha);
  EXPECT_EQ(support::letters_of(image), "L..A");
  EXPECT_EQ(support::samples(image, 0), std::vector<int>(8, 90));
  EXPECT_EQ(support::samples(image, 3), std::vector<int>(8, 90));
  EXPECT_EQ(image.depth[1], 0);
}

TEST(channels, planes_of_another_depth_are_converted) {
  img::image halves("BGR", 16, 2, 1);
  for (int p = 0; p < 3; ++p) std::fill_n(halves.row<std::uint16_t>(p, 0), 2, std::uint16_t{0});
  halves.set_plane(3, 'A', 8);
  std::fill_n(halves.row(3, 0), 2, std::uint8_t{255});
  render::select_channels(halves, view_type::alpha);
  EXPECT_EQ(support::samples<std::uint16_t>(halves, 1), std::vector<int>(2, 0x3C00));

  img::image bytes = support::picture("BGR", 2, 1, {1, 2, 3});
  bytes.set_plane(4, 'Z', 16);
  std::fill_n(bytes.row<std::uint16_t>(4, 0), 2, std::uint16_t{0x3800});
  render::select_channels(bytes, view_type::depth);
  EXPECT_EQ(support::samples(bytes, 0), std::vector<int>(2, 127));  // trunc(0.5 * 255.99)
}

TEST(channels, same_picture_for_every_number_of_threads_and_every_level) {
  const img::image source = support::random_picture("BGRAZ", 131, 77);
  for (const channel_case& c : channel_cases) {
    img::image expected = source;
    lib::set_thread_count(1);
    render::select_channels(expected, c.channels);
    support::every_level([&](const char* level) {
      support::every_thread_count([&](int threads) {
        img::image found = source;
        render::select_channels(found, c.channels);
        EXPECT_EQ(support::differing_plane(found, expected), -1) << name_of(c.channels) << level << threads;
      });
    });
  }
}

}  // namespace
