#include "render/channels.h"

#include <gtest/gtest.h>

#include <map>

#include "support/pictures.h"

namespace {

using ksn::view_type;

std::string name_of(view_type channels) {
  return std::string(ksn::word_of(channels));
}

// The planes that each value shows; letters name the source plane, 0 is black, Y the luminance.
const std::map<view_type, std::string> made_of{
    {view_type::b_grayscale, "BBB"}, {view_type::b_color, "B00"}, {view_type::b_hidden, "0GR"},
    {view_type::g_grayscale, "GGG"}, {view_type::g_color, "0G0"}, {view_type::g_hidden, "B0R"},
    {view_type::r_grayscale, "RRR"}, {view_type::r_color, "00R"}, {view_type::r_hidden, "BG0"},
    {view_type::rgb, "BGR"},         {view_type::alpha, "AAA"},   {view_type::luma, "YYY"},
    {view_type::depth, "ZZZ"},
};

template <class Sample>
void check_all(std::map<char, std::uint32_t> values) {
  values['0'] = 0;
  for (const auto& [channels, letters] : made_of) {
    img::image image = support::flat_picture("BGRAZ", 8 * sizeof(Sample),
                                             {values['B'], values['G'], values['R'], values['A'], values['Z']}, 5, 3);
    render::select_channels(image, channels);
    for (int p = 0; p < 5; ++p) {
      const auto expected = values[p < 3 ? letters[static_cast<std::size_t>(p)] : "BGRAZ"[p]];
      EXPECT_EQ(support::samples<Sample>(image, p), std::vector<int>(15, static_cast<int>(expected)))
          << name_of(channels) << " plane " << p << " of " << sizeof(Sample) << " bytes";
    }
  }
}

TEST(channels, of_bytes_and_halves) {
  // (54 * 200 + 183 * 150 + 19 * 30) >> 8 = 38820 >> 8 = 151
  check_all<std::uint8_t>({{'B', 30}, {'G', 150}, {'R', 200}, {'A', 77}, {'Z', 5}, {'Y', 151}});
  // 0.25, 0.5, 1, and 0.2126 + 0.3576 + 0.01805 = 0.58825: 0x38B5 is 0.58838, its neighbour below 0.58789.
  check_all<std::uint16_t>({{'B', 0x3400}, {'G', 0x3800}, {'R', 0x3C00}, {'A', 0x3A00}, {'Z', 0x4500}, {'Y', 0x38B5}});
}

std::uint32_t word(unsigned b, unsigned g, unsigned r) {
  return r << 22 | g << 12 | b << 2;
}

img::image packed(char form, std::uint32_t host_word) {
  return support::flat_picture(std::string(1, form), 32, {form == 'U' ? __builtin_bswap32(host_word) : host_word}, 3,
                               2);
}

TEST(channels, of_packed_words) {
  const std::map<char, unsigned> values{{'B', 100}, {'G', 500}, {'R', 1023}, {'0', 0}};
  for (const char form : {'U', 'u', 'V', 'W'}) {
    for (const auto& [channels, letters] : made_of) {
      if (channels >= view_type::rgb) continue;
      img::image image = packed(form, word(100, 500, 1023));
      render::select_channels(image, channels);
      EXPECT_EQ(image.format[0], form == 'U' ? 'u' : form) << name_of(channels);
      const std::uint32_t expected = word(values.at(letters[0]), values.at(letters[1]), values.at(letters[2]));
      for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(image.row<std::uint32_t>(0, 0)[i], expected) << form << ' ' << name_of(channels);
      }
    }
    // Without a plane of alpha or depth nothing happens.
    for (const view_type none : {view_type::rgb, view_type::alpha, view_type::depth}) {
      img::image untouched = packed(form, word(100, 500, 1023));
      render::select_channels(untouched, none);
      EXPECT_EQ(support::differing_plane(untouched, packed(form, word(100, 500, 1023))), -1) << form;
    }
    // A gray word of code 685 is white: byte 255, luminance (54 + 183 + 19) * 255 >> 8 = 255, sRGB decoded 1.0 and so
    // code 685 again. Code 95 is black and stays. Red alone: byte 255, luminance 54 * 255 >> 8 = 53, linear 0.0356,
    // code 685 - trunc(300 * 1.337).
    if (form == 'V') continue;  // linear words
    for (const auto& [code, gray] :
         {std::pair(word(95, 95, 95), 95u), {word(685, 685, 685), 685u}, {word(95, 95, 685), 284u}}) {
      img::image image = packed(form, code);
      render::select_channels(image, view_type::luma);
      EXPECT_EQ(image.format[0], 'u');
      EXPECT_EQ(image.row<std::uint32_t>(0, 0)[5], word(gray, gray, gray)) << form;
    }
  }
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
  }
}

TEST(channels, absent_planes_are_left_out) {
  for (const auto& [channels, letters] : made_of) {
    img::image gray = support::picture("L", 4, 2, {60});
    render::select_channels(gray, channels);
    EXPECT_EQ(support::letters_of(gray), "L") << name_of(channels);
    // Only what hides or clears plane 0 shows.
    EXPECT_EQ(support::samples(gray, 0), std::vector<int>(8, letters[0] == '0' ? 0 : 60)) << name_of(channels);
  }
  // Alpha right after a gray plane is found.
  img::image image = support::picture("LA", 4, 2, {60, 90});
  EXPECT_FALSE(render::planes_in_place(image));
  render::select_channels(image, view_type::alpha);
  EXPECT_EQ(support::letters_of(image), "L..A");
  EXPECT_EQ(support::samples(image, 0), std::vector<int>(8, 90));
  EXPECT_EQ(support::samples(image, 3), std::vector<int>(8, 90));
  EXPECT_EQ(image.depth[1], 0);
}

TEST(channels, planes_of_another_depth_are_converted) {
  img::image halves = support::flat_picture("BGR", 16, {0, 0, 0}, 2);
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

}  // namespace
