// Luma and chroma to bytes: against the formulas of ITU-T H.273 in doubles, and every instruction set against the plain
// row.
#include "sources/yuv.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "sources/words.h"
#include "support/levels.h"

namespace {

constexpr std::uint8_t guard = 0xA5;

struct matrix {
  const char* name;
  double red, blue;
};
constexpr matrix matrices[] = {{"BT.601", 0.299, 0.114}, {"BT.709", 0.2126, 0.0722}, {"BT.2020", 0.2627, 0.0593}};

// One pixel of full-size chroma through the plain row.
std::array<int, 3> converted(const sources::yuv_weights& weights, int bits, int y, int u, int v) {
  const std::uint16_t words[3] = {static_cast<std::uint16_t>(y), static_cast<std::uint16_t>(u),
                                  static_cast<std::uint16_t>(v)};
  const std::uint8_t bytes[3] = {static_cast<std::uint8_t>(y), static_cast<std::uint8_t>(u),
                                 static_cast<std::uint8_t>(v)};
  const auto sample = [&](int i) { return bits == 8 ? static_cast<const void*>(bytes + i) : words + i; };
  std::uint8_t b = 0;
  std::uint8_t g = 0;
  std::uint8_t r = 0;
  sources::convert_yuv_row_plainly(
      {sample(0), sample(1), sample(2), nullptr, nullptr, 0, bits == 8 ? 1 : 2, sources::chroma_on_each, &b, &g, &r, 1},
      weights);
  return {b, g, r};
}

TEST(yuv, is_the_formula_to_half_a_byte) {
  for (const matrix& m : matrices) {
    for (const bool full : {false, true}) {
      for (const int bits : {8, 10, 12, 14}) {
        const auto weights = sources::make_yuv_weights(m.red, m.blue, full, bits);
        const double scale = 1 << (bits - 8);
        const double top = (1 << bits) - 1;
        const int steps = bits == 8 ? 17 : 37;
        const auto sample = [&](int i) { return static_cast<int>(top * i / steps); };
        for (int i = 0; i <= steps; ++i) {
          for (int j = 0; j <= steps; ++j) {
            for (int k = 0; k <= steps; ++k) {
              const double y = full ? sample(i) / top : (sample(i) - 16 * scale) / (219 * scale);
              const double middle = 1 << (bits - 1);
              const double u = (sample(j) - middle) / (full ? top : 224 * scale);
              const double v = (sample(k) - middle) / (full ? top : 224 * scale);
              const double r = y + 2 * (1 - m.red) * v;
              const double b = y + 2 * (1 - m.blue) * u;
              const double g = (y - m.red * r - m.blue * b) / (1 - m.red - m.blue);
              const auto found = converted(weights, bits, sample(i), sample(j), sample(k));
              const double wanted[3] = {b, g, r};
              for (int c = 0; c < 3; ++c) {
                ASSERT_NEAR(found[c], std::clamp(wanted[c] * 255.0, 0.0, 255.0), 0.54)
                    << m.name << (full ? " full " : " limited ") << bits << " bits, channel " << c << " of "
                    << sample(i) << ' ' << sample(j) << ' ' << sample(k);
              }
            }
          }
        }
        // Black and white exactly.
        const int black = full ? 0 : static_cast<int>(16 * scale);
        const int white = full ? static_cast<int>(top) : static_cast<int>(235 * scale);
        const int gray = 1 << (bits - 1);
        EXPECT_EQ(converted(weights, bits, black, gray, gray), (std::array<int, 3>{0, 0, 0}));
        EXPECT_EQ(converted(weights, bits, white, gray, gray), (std::array<int, 3>{255, 255, 255}));
      }
    }
  }
}

TEST(yuv, every_level_is_the_plain_row) {
  std::mt19937 random(5);
  constexpr int most = 1100;
  std::vector<std::uint8_t> samples(5 * 2 * (most + 8));
  for (std::uint8_t& byte : samples) byte = static_cast<std::uint8_t>(random());
  std::vector<int> widths;
  for (int width = 0; width <= 140; ++width) widths.push_back(width);
  for (const int width : {511, 512, 513, 1023, 1025, most}) widths.push_back(width);
  for (const int bytes : {1, 2}) {
    // Words have up to 14 bits.
    for (std::size_t i = 1; bytes == 2 && i < samples.size(); i += 2) samples[i] &= 0x3F;
    for (const auto across : {sources::chroma_on_each, sources::chroma_on_left, sources::chroma_between}) {
      const auto weights = sources::make_yuv_weights(0.2126, 0.0722, false, bytes == 1 ? 8 : 10);
      for (const int width : widths) {
        const int far = width % 3;
        const int offset = width % 5 * bytes;
        const auto plane = [&](int index) { return samples.data() + index * 2 * (most + 8) + offset; };
        const auto run = [&](sources::yuv_row_function convert) {
          std::vector<std::uint8_t> out(3 * (width + 64), guard);
          const auto target = [&](int index) { return out.data() + index * (width + 64) + 32; };
          convert({plane(0), plane(1), plane(2), plane(3), plane(4), far, bytes, across, target(0), target(1),
                   target(2), width},
                  weights);
          return out;
        };
        const auto expected = run(sources::convert_yuv_row_plainly);
        EXPECT_EQ(std::count(expected.begin(), expected.begin() + 32, guard), 32);
        support::every_level([&](const char* level) {
          ASSERT_EQ(run(sources::active_yuv_row()), expected) << level << ' ' << bytes << ' ' << across << ' ' << width;
        });
      }
    }
  }
}

TEST(yuv, chroma_lies_where_it_is_said_to) {
  // Chroma that grows evenly from the left and from the top is even in the picture, but at its edges: blue is
  // proportional to where the pixel lies. Two rows at half the height, seven pixels.
  constexpr int step = 20;
  const auto weights = sources::make_yuv_weights(0.2126, 0.0722, true, 10);
  const double blue_of_step = 2 * (1 - 0.0722) * step * 255 / 1023.0;
  for (const auto across : {sources::chroma_on_left, sources::chroma_between}) {
    for (const int far : {0, 1, 2}) {
      std::vector<std::uint16_t> luma(7, 512), near, other, gray(4, 512);
      for (int i = 0; i < 4; ++i) {
        near.push_back(static_cast<std::uint16_t>(512 + step * i));
        other.push_back(static_cast<std::uint16_t>(near.back() + step));
      }
      std::uint8_t out[3][7];
      sources::convert_yuv_row_plainly(
          {luma.data(), near.data(), gray.data(), other.data(), gray.data(), far, 2, across, out[0], out[1], out[2], 7},
          weights);
      for (int x = 0; x < 7; ++x) {
        const double along = std::clamp(across == sources::chroma_on_left ? x / 2.0 : (x - 0.5) / 2, 0.0, 3.0);
        EXPECT_NEAR(out[0][x], 127.6 + blue_of_step * (along + far / 4.0), 1.0) << across << ' ' << far << ' ' << x;
      }
    }
  }
}

TEST(words, are_the_nearest_bytes_at_every_level) {
  for (const int bits : {9, 10, 12, 14, 16}) {
    const int top = (1 << bits) - 1;
    const std::uint32_t weight = sources::make_word_weight(bits);
    std::vector<std::uint16_t> all(static_cast<std::size_t>(top) + 1);
    for (int i = 0; i <= top; ++i) all[static_cast<std::size_t>(i)] = static_cast<std::uint16_t>(i);
    std::vector<std::uint8_t> plain(all.size());
    sources::narrow_words_plainly(all.data(), plain.data(), top + 1, weight);
    for (int i = 0; i <= top; ++i) ASSERT_NEAR(plain[static_cast<std::size_t>(i)], i * 255.0 / top, 0.503) << bits;
    EXPECT_EQ(plain.front(), 0);
    EXPECT_EQ(plain.back(), 255);
    support::every_level([&](const char* level) {
      for (int width = 0; width < 150; ++width) {
        const int start = (width * 37) % (top - 150);
        std::vector<std::uint8_t> out(static_cast<std::size_t>(width) + 64, guard);
        sources::narrow_words(all.data() + start, out.data() + 32, width, weight);
        ASSERT_TRUE(std::equal(plain.begin() + start, plain.begin() + start + width, out.begin() + 32))
            << level << ' ' << width;
        ASSERT_EQ(std::count(out.begin(), out.begin() + 32, guard), 32);
        ASSERT_EQ(std::count(out.end() - 32, out.end(), guard), 32) << level << ' ' << width;
      }
    });
  }
}

}  // namespace
