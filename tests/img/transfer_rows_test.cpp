// The colour loops: the portable forms against hand-made cases, every level against the portable forms.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <numeric>
#include <random>
#include <vector>

#include "img/color_rows.h"
#include "img/lookup/table.h"
#include "support/levels.h"

namespace {

using img::color_kernels;

// Samples between untouched bytes, begun at any place.
template <class T>
class guarded {
 public:
  guarded(const std::vector<T>& samples, std::size_t shift)
      : first_(64 + shift), bytes_(first_ + samples.size() * sizeof(T) + 64, 0xA7) {
    if (!samples.empty()) std::memcpy(bytes_.data() + first_, samples.data(), samples.size() * sizeof(T));
  }
  T* data() { return reinterpret_cast<T*>(bytes_.data() + first_); }
  // Whether these are the samples and nothing beside them has changed.
  bool holds(const std::vector<T>& samples) const { return bytes_ == guarded(samples, first_ - 64).bytes_; }

 private:
  std::size_t first_;
  std::vector<std::uint8_t> bytes_;
};

// All bits for `limit` 0.
template <class T>
std::vector<T> noise(std::size_t count, unsigned seed, unsigned limit = 0) {
  std::mt19937 random(seed);
  std::vector<T> out(count);
  for (T& v : out) v = static_cast<T>(limit ? random() % limit : random());
  return out;
}

template <class Check>
void every_level(Check&& check) {
  support::every_level([&](const char* level) {
    check(img::level_color_kernels(), level);
    check(img::active_color_kernels(), level);
  });
}

constexpr std::size_t widths[] = {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 32, 33, 63, 64, 65, 127, 130, 200};

// Calls run(rows, blue, green, red) with the portable loops and with those of every level, on equal rows.
template <class Run>
void expect_portable(const char* what, Run&& run) {
  every_level([&](const color_kernels& rows, const char* level) {
    for (const std::size_t width : widths) {
      std::vector<std::uint8_t> expected[3];
      for (unsigned c = 0; c < 3; ++c) expected[c] = noise<std::uint8_t>(width, 30 + c);
      guarded<std::uint8_t> got[3] = {{expected[0], width % 5}, {expected[1], 2}, {expected[2], 3}};
      run(img::plain_color_kernels(), expected[0].data(), expected[1].data(), expected[2].data(), width);
      run(rows, got[0].data(), got[1].data(), got[2].data(), width);
      for (int c = 0; c < 3; ++c) {
        ASSERT_TRUE(got[c].holds(expected[c])) << what << " " << level << " width " << width << " channel " << c;
      }
    }
  });
}

TEST(transfer_rows, maps_of_every_level_are_the_portable_ones) {
  const auto table = noise<std::uint8_t>(65536, 2);
  const auto halves = noise<std::uint16_t>(200, 11);
  const auto nodes = noise<std::uint16_t>(4 * 200, 12, 16384);
  const auto packed = noise<std::uint32_t>(200, 13);
  const img::channel_bytes tables{{table.data(), table.data() + 16384, table.data() + 2 * 16384}};
  using bytes = std::uint8_t*;
  expect_portable("bytes", [&](const color_kernels& rows, bytes b, bytes g, bytes r, std::size_t width) {
    rows.map_bytes(b, g, table.data(), width);
    rows.map_bytes(r, r, table.data() + 256, width);
  });
  expect_portable("halves", [&](const color_kernels& rows, bytes b, bytes, bytes, std::size_t width) {
    rows.map_halves(b, halves.data(), table.data(), width);
  });
  for (const bool swapped : {false, true}) {
    expect_portable("words", [&](const color_kernels& rows, bytes b, bytes g, bytes r, std::size_t width) {
      rows.map_words(b, g, r, packed.data(), tables, swapped, width);
    });
  }
  expect_portable("nodes", [&](const color_kernels& rows, bytes b, bytes g, bytes r, std::size_t width) {
    rows.map_nodes(b, g, r, nodes.data(), tables, width);
  });
}

TEST(transfer_rows, every_byte_finds_its_entry_and_widens_to_ten_bits) {
  std::vector<std::uint8_t> all(256);
  std::iota(all.begin(), all.end(), std::uint8_t{0});
  const auto table = noise<std::uint8_t>(256, 1);
  every_level([&](const color_kernels& rows, const char* level) {
    std::vector<std::uint8_t> mapped(256);
    rows.map_bytes(mapped.data(), all.data(), table.data(), 256);
    EXPECT_EQ(mapped, table) << level;
    std::vector<std::uint16_t> wide(256);
    rows.widen_bytes(wide.data(), all.data(), 256);
    for (int i = 0; i < 256; ++i) ASSERT_EQ(wide[i], std::rint(i * 1023 / 255.0)) << level << " " << i;
  });
}

// Functions that trilinear interpolation keeps exactly, a different function of the coordinates for each channel, and
// the largest value, whose sum needs all bits.
TEST(transfer_rows, cube_interpolates_exactly_and_rounds_once) {
  std::vector<std::uint16_t> cube;
  for (int r = 0; r < 17; ++r) {
    for (int g = 0; g < 17; ++g) {
      for (int b = 0; b < 17; ++b) {
        for (const int v : {500 * r + 30 * g * b, 16383, 900 * b + 3 * g * r, 12345 + b}) {
          cube.push_back(static_cast<std::uint16_t>(v));
        }
      }
    }
  }
  std::vector<std::uint16_t> b, g, r;
  for (int i = 0; i < 1024; i += 11) {
    for (int k = 0; k < 1024; k += 93) {
      b.push_back(static_cast<std::uint16_t>(i));
      g.push_back(static_cast<std::uint16_t>(k));
      r.push_back(static_cast<std::uint16_t>((i * 7 + k * 3) % 1024));
    }
  }
  auto check = [&](const color_kernels& rows, const char* level) {
    std::vector<std::uint16_t> out(4 * b.size());
    rows.cube(out.data(), b.data(), g.data(), r.data(), cube.data(), 17, b.size());
    for (std::size_t i = 0; i < b.size(); ++i) {
      const double x = r[i] / 64.0, y = g[i] / 64.0, z = b[i] / 64.0;
      ASSERT_EQ(out[4 * i], std::floor(500 * x + 30 * y * z + 0.5)) << level << " " << i;
      ASSERT_EQ(out[4 * i + 1], 16383) << level << " " << i;
      ASSERT_EQ(out[4 * i + 2], std::floor(900 * z + 3 * y * x + 0.5)) << level << " " << i;
    }
  };
  check(img::plain_color_kernels(), "plain");
  every_level(check);
}

TEST(transfer_rows, cube_of_every_level_is_the_portable_one) {
  for (const int points : {2, 3, 16, 17, 24, 33, 65, 129}) {
    std::vector<std::uint16_t> cube = noise<std::uint16_t>(img::lookup_table::entries_of(points), 4, 16384);
    // Nodes that need all bits, and rubbish where a node has no meaning.
    for (std::size_t i = 0; i < cube.size() / 2; i += 4) cube[i] = cube[i + 1] = 16383;
    for (std::size_t i = 3; i < cube.size(); i += 4) cube[i] = static_cast<std::uint16_t>(i * 40503);
    for (const std::size_t width : widths) {
      const auto b = noise<std::uint16_t>(width, 21, 1024);
      const auto g = noise<std::uint16_t>(width, 22, 1024);
      const auto r = noise<std::uint16_t>(width, 23, 1024);
      std::vector<std::uint16_t> expected(4 * width);
      img::plain_color_kernels().cube(expected.data(), b.data(), g.data(), r.data(), cube.data(), points, width);
      every_level([&](const color_kernels& rows, const char* level) {
        guarded<std::uint16_t> out(std::vector<std::uint16_t>(4 * width), 2 * (width % 5));
        rows.cube(out.data(), b.data(), g.data(), r.data(), cube.data(), points, width);
        for (std::size_t i = 0; i < width; ++i) out.data()[4 * i + 3] = 0;
        EXPECT_TRUE(out.holds(expected)) << level << " " << width << " " << points;
      });
    }
  }
}

TEST(transfer_rows, matrix) {
  const struct {
    const char* what;
    std::int32_t m[9];
    int in[3];   // red, green, blue
    int out[3];  // each product cut on its own
  } cases[] = {
      {"identity", {256, 0, 0, 0, 256, 0, 0, 0, 256}, {0, 128, 255}, {0, 128, 255}},
      {"gray", {54, 183, 18, 54, 183, 18, 54, 183, 18}, {200, 100, 50}, {116, 116, 116}},
      // -18 * 1 >> 8 is -1: cut towards minus infinity
      {"cut below zero", {256, -18, 0, 0, 256, -18, -18, 0, 256}, {1, 1, 1}, {0, 0, 0}},
      {"held", {458, -183, -18, -54, 329, -18, -54, -183, 494}, {255, 0, 255}, {255, 0, 255}},
      {"largest", {10880, 10880, 10880, -10880, -10880, -10880, 10880, -10880, 0}, {255, 255, 255}, {255, 0, 0}},
  };
  for (const auto& row : cases) {
    std::uint8_t rgb[3];
    std::copy_n(row.in, 3, rgb);
    img::plain_color_kernels().matrix(&rgb[2], &rgb[1], &rgb[0], row.m, 1);
    for (int c = 0; c < 3; ++c) EXPECT_EQ(rgb[c], row.out[c]) << row.what;
    expect_portable(row.what, [&](const color_kernels& rows, std::uint8_t* b, std::uint8_t* g, std::uint8_t* r,
                                  std::size_t width) { rows.matrix(b, g, r, row.m, width); });
  }
}

}  // namespace
