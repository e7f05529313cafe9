// Bytes and words to luma and chroma: against the formulas of ITU-T H.273 in doubles, alike at every instruction set.
#include "sources/rgb_to_yuv.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "support/levels.h"

namespace {

using bytes = std::vector<std::uint8_t>;
using words = std::vector<std::uint16_t>;

TEST(rgb_to_yuv, is_the_formula_to_half_a_step_and_gray_stays_gray) {
  struct row {
    const char* name;
    double red, blue;
  };
  for (const row& m : {row{"BT.601", 0.299, 0.114}, row{"BT.709", 0.2126, 0.0722}}) {
    for (const bool full : {false, true}) {
      for (const int bits : {8, 10}) {
        for (const int most : {255, static_cast<int>(sources::halved_8_max), 65535}) {
          const auto matrix = sources::make_yuv_matrix(m.red, m.blue, full, bits, most);
          const double scale = 1 << (bits - 8);
          const double top = (1 << bits) - 1;
          const auto weighed = [&](const sources::matrix_row& row, int b, int g, int r) {
            const words in = {static_cast<std::uint16_t>(b), static_cast<std::uint16_t>(g),
                              static_cast<std::uint16_t>(r)};
            std::uint16_t out = 0;
            sources::current_yuv_making_rows().weigh_16_to_16(&in[0], &in[1], &in[2], &out, &row, 1);
            return static_cast<double>(out);
          };
          constexpr int steps = 17;
          for (int i = 0; i < steps * steps * steps; ++i) {
            const auto sample = [&](int step) { return most * step / (steps - 1); };
            const int b = sample(i % steps);
            const int g = sample(i / steps % steps);
            const int r = sample(i / steps / steps);
            const double y = (m.red * r + m.blue * b + (1 - m.red - m.blue) * g) / most;
            const double u = (b / static_cast<double>(most) - y) / (2 * (1 - m.blue));
            const double v = (r / static_cast<double>(most) - y) / (2 * (1 - m.red));
            const double luma = full ? y * top : 16 * scale + 219 * scale * y;
            const double chroma = full ? top : 224 * scale;
            const double middle = 1 << (bits - 1);
            ASSERT_NEAR(weighed(matrix.y, b, g, r), luma, 0.6) << m.name << ' ' << bits << ' ' << most << ' ' << i;
            ASSERT_NEAR(weighed(matrix.u, b, g, r), std::min(middle + chroma * u, top), 0.6) << m.name << ' ' << i;
            ASSERT_NEAR(weighed(matrix.v, b, g, r), std::min(middle + chroma * v, top), 0.6) << m.name << ' ' << i;
            if (b == g && g == r) {
              ASSERT_EQ(weighed(matrix.u, b, g, r), middle) << most << ' ' << b;
              ASSERT_EQ(weighed(matrix.v, b, g, r), middle) << most << ' ' << b;
            }
          }
        }
      }
    }
  }
}

// The chroma samples of a row by their definition, times eight.
template <class Samples>
std::vector<int> halved(const Samples& upper, const Samples& lower, sources::chroma_across place) {
  const auto at = [&](int x) {
    const auto i = static_cast<std::size_t>(std::clamp(x, 0, static_cast<int>(upper.size()) - 1));
    return upper[i] + lower[i];
  };
  std::vector<int> out;
  for (int x = 0; x < static_cast<int>(upper.size()); x += 2)
    out.push_back(place == sources::chroma_on_left ? 6 * at(x) + 2 * (at(x - 1) + at(x + 1)) - at(x - 2) - at(x + 2)
                                                   : 4 * (at(x) + at(x + 1)));
  return out;
}

TEST(rgb_to_yuv, every_level_gives_the_same_rows_and_nothing_beyond_them) {
  constexpr std::size_t room = 16;
  std::mt19937 random(7);
  for (int width = 1; width < 150; ++width) {
    const auto size = static_cast<std::size_t>(width);
    const std::size_t half = (size + 1) / 2;
    bytes b(size), g(size), r(size);
    words wide(size), wide_lower(size);
    for (std::size_t i = 0; i < size; ++i) {
      b[i] = static_cast<std::uint8_t>(random());
      g[i] = static_cast<std::uint8_t>(random());
      r[i] = static_cast<std::uint8_t>(random());
      wide[i] = static_cast<std::uint16_t>(random());
      wide_lower[i] = static_cast<std::uint16_t>(random());
    }
    const auto matrix = sources::make_yuv_matrix(0.2126, 0.0722, false, 10, 255);
    const auto narrow = sources::make_yuv_matrix(0.299, 0.114, true, 8, 65535);
    bytes first_bytes;
    words first_words;
    support::every_level([&](const char* level) {
      const auto& rows = sources::current_yuv_making_rows();
      words luma(size + room, 0xA5A5);
      bytes luma_bytes(size + room, 0xA5);
      rows.weigh_8_to_16(b.data(), g.data(), r.data(), luma.data(), &matrix.y, size);
      rows.weigh_16_to_8(wide.data(), wide_lower.data(), wide.data(), luma_bytes.data(), &narrow.u, size);
      for (std::size_t i = size; i < size + room; ++i) ASSERT_TRUE(luma[i] == 0xA5A5 && luma_bytes[i] == 0xA5) << level;
      if (first_words.empty()) {
        first_words = luma;
        first_bytes = luma_bytes;
      }
      ASSERT_EQ(luma, first_words) << level << ' ' << width;
      ASSERT_EQ(luma_bytes, first_bytes) << level << ' ' << width;
      for (const auto place : {sources::chroma_on_left, sources::chroma_between}) {
        words out(half + room, 0xA5A5);
        rows.halve_8(b.data(), g.data(), out.data(), size, place);
        const std::vector<int> wanted = halved(b, g, place);
        words out_wide(half + room, 0xA5A5);
        rows.halve_16(wide.data(), wide_lower.data(), out_wide.data(), size, place);
        const std::vector<int> wanted_wide = halved(wide, wide_lower, place);
        for (std::size_t i = 0; i < half; ++i) {
          ASSERT_EQ(out[i], std::clamp<int>(wanted[i], 0, sources::halved_8_max))
              << level << ' ' << width << ' ' << place << ' ' << i;
          ASSERT_EQ(out_wide[i], std::clamp((wanted_wide[i] + 8) >> 4, 0, 65535))
              << level << ' ' << width << ' ' << place << ' ' << i;
        }
        ASSERT_TRUE(out[half] == 0xA5A5 && out_wide[half] == 0xA5A5) << level << ' ' << width;
      }
    });
  }
}

}  // namespace
