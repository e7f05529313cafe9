// The colour loops: the portable forms against hand-made cases, every level against the portable forms.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "img/color_rows.h"
#include "img/simd_level.h"

namespace {

using img::color_rows;

constexpr int guard = 64;
constexpr std::uint8_t guard_byte = 0xA7;

// Samples between two guards; the start is moved by `shift` bytes so that every alignment comes up.
template <class T>
class guarded {
 public:
  guarded(std::size_t count, std::size_t shift) : count_(count), bytes_(count * sizeof(T) + 2 * guard + shift) {
    std::memset(bytes_.data(), guard_byte, bytes_.size());
    first_ = reinterpret_cast<T*>(bytes_.data() + guard + shift);
  }
  T* data() { return first_; }
  bool intact() const {
    const auto* begin = reinterpret_cast<const std::uint8_t*>(first_);
    const auto* end = begin + count_ * sizeof(T);
    for (const std::uint8_t* at = bytes_.data(); at < bytes_.data() + bytes_.size(); ++at) {
      if ((at < begin || at >= end) && *at != guard_byte) return false;
    }
    return true;
  }

 private:
  std::size_t count_;
  std::vector<std::uint8_t> bytes_;
  T* first_;
};

template <class T>
std::vector<T> noise(std::size_t count, unsigned seed, unsigned limit = 1u << (8 * sizeof(T) - 1) << 1) {
  std::mt19937 random(seed);
  std::vector<T> out(count);
  for (T& v : out) v = static_cast<T>(limit ? random() % limit : random());
  return out;
}

std::vector<std::uint16_t> noisy_cube(unsigned seed) {
  std::vector<std::uint16_t> cube = noise<std::uint16_t>(17 * 17 * 17 * 4, seed, 16384);
  // The extremes, whose sums need all bits, and rubbish where a node has no meaning.
  for (std::size_t i = 0; i < 8000; i += 4) cube[i] = cube[i + 1] = 16383;
  for (std::size_t i = 3; i < cube.size(); i += 4) cube[i] = static_cast<std::uint16_t>(i * 40503);
  return cube;
}

class transfer_rows : public testing::Test {
 protected:
  ~transfer_rows() override { img::pin_simd_level(best_); }

  template <class Check>
  void every_level(Check check) {
    const char* names[] = {"baseline", "v3", "v4"};
    for (int level = 0; level <= static_cast<int>(best_); ++level) {
      img::pin_simd_level(static_cast<img::simd_level>(level));
      check(img::level_color_rows(), names[level]);
      check(img::active_color_rows(), names[level]);
    }
  }

 private:
  img::simd_level best_ = img::current_simd_level();
};

constexpr std::size_t widths[] = {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 32, 33, 63, 64, 65, 127, 130, 200};

TEST_F(transfer_rows, maps_of_every_level_are_the_portable_ones) {
  const auto byte_table = noise<std::uint8_t>(256, 1);
  const auto half_table = noise<std::uint8_t>(65536, 2);
  const auto node_table = noise<std::uint8_t>(3 * 16384, 3);
  const img::channel_bytes words{{node_table.data(), node_table.data() + 1024, node_table.data() + 2048}};
  const img::channel_bytes fixed{{node_table.data(), node_table.data() + 16384, node_table.data() + 2 * 16384}};
  const color_rows& plain = img::plain_color_rows();
  every_level([&](const color_rows& rows, const char* level) {
    for (const std::size_t width : widths) {
      SCOPED_TRACE(testing::Message() << level << " width " << width);
      const std::size_t shift = width % 5;
      const auto bytes = noise<std::uint8_t>(width, 10);
      const auto wide = noise<std::uint16_t>(4 * width, 11);
      const auto nodes = noise<std::uint16_t>(4 * width, 12, 16384);
      const auto packed = noise<std::uint32_t>(width, 13, 0);
      std::vector<std::uint8_t> expected(width), more[2] = {expected, expected};
      guarded<std::uint8_t> out(width, shift), out2(width, shift), out3(width, shift);
      auto same = [&] {
        return out.intact() && out2.intact() && out3.intact() &&
               std::equal(expected.begin(), expected.end(), out.data());
      };
      auto same3 = [&] {
        return same() && std::equal(more[0].begin(), more[0].end(), out2.data()) &&
               std::equal(more[1].begin(), more[1].end(), out3.data());
      };

      plain.map_bytes(expected.data(), bytes.data(), byte_table.data(), width);
      rows.map_bytes(out.data(), bytes.data(), byte_table.data(), width);
      EXPECT_TRUE(same()) << "bytes";
      std::copy(bytes.begin(), bytes.end(), out.data());
      rows.map_bytes(out.data(), out.data(), byte_table.data(), width);
      EXPECT_TRUE(same()) << "bytes in place";

      plain.map_halves(expected.data(), wide.data(), half_table.data(), width);
      rows.map_halves(out.data(), wide.data(), half_table.data(), width);
      EXPECT_TRUE(same()) << "halves";

      for (const bool swapped : {false, true}) {
        plain.map_words(expected.data(), more[0].data(), more[1].data(), packed.data(), words, swapped, width);
        rows.map_words(out.data(), out2.data(), out3.data(), packed.data(), words, swapped, width);
        EXPECT_TRUE(same3()) << "words " << swapped;
      }
      plain.map_nodes(expected.data(), more[0].data(), more[1].data(), nodes.data(), fixed, width);
      rows.map_nodes(out.data(), out2.data(), out3.data(), nodes.data(), fixed, width);
      EXPECT_TRUE(same3()) << "nodes";
    }
  });
}

TEST_F(transfer_rows, every_byte_finds_its_entry) {
  std::vector<std::uint8_t> all(256), table(256), out(256);
  for (int i = 0; i < 256; ++i) {
    all[i] = static_cast<std::uint8_t>(i);
    table[i] = static_cast<std::uint8_t>(i * 167 + 13);
  }
  every_level([&](const color_rows& rows, const char* level) {
    rows.map_bytes(out.data(), all.data(), table.data(), 256);
    EXPECT_EQ(out, table) << level;
  });
}

TEST_F(transfer_rows, bytes_widen_to_ten_bits) {
  std::vector<std::uint8_t> all(256);
  for (int i = 0; i < 256; ++i) all[i] = static_cast<std::uint8_t>(i);
  every_level([&](const color_rows& rows, const char* level) {
    std::vector<std::uint16_t> out(256);
    rows.widen_bytes(out.data(), all.data(), 256);
    for (int i = 0; i < 256; ++i) ASSERT_EQ(out[i], std::rint(i * 1023 / 255.0)) << level << " " << i;
  });
}

// A product of the three coordinates is what trilinear interpolation keeps exactly; each channel has its own.
TEST_F(transfer_rows, cube_interpolates_exactly_and_rounds_once) {
  std::vector<std::uint16_t> cube(17 * 17 * 17 * 4);
  for (int r = 0; r < 17; ++r) {
    for (int g = 0; g < 17; ++g) {
      for (int b = 0; b < 17; ++b) {
        std::uint16_t* node = &cube[((r * 17 + g) * 17 + b) * 4];
        node[0] = static_cast<std::uint16_t>(3 * r * g * b);
        node[1] = static_cast<std::uint16_t>(1000 * r);
        node[2] = static_cast<std::uint16_t>(60 * b * g);
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
  auto check = [&](const color_rows& rows, const char* level) {
    std::vector<std::uint16_t> out(4 * b.size());
    rows.cube(out.data(), b.data(), g.data(), r.data(), cube.data(), b.size());
    for (std::size_t i = 0; i < b.size(); ++i) {
      const double x = r[i] / 64.0, y = g[i] / 64.0, z = b[i] / 64.0;
      ASSERT_EQ(out[4 * i], std::floor(3 * x * y * z + 0.5)) << level << " " << i;
      ASSERT_EQ(out[4 * i + 1], std::floor(1000 * x + 0.5)) << level << " " << i;
      ASSERT_EQ(out[4 * i + 2], std::floor(60 * y * z + 0.5)) << level << " " << i;
    }
  };
  check(img::plain_color_rows(), "plain");
  every_level(check);
}

TEST_F(transfer_rows, cube_of_every_level_is_the_portable_one) {
  const auto cube = noisy_cube(4);
  for (const std::size_t width : widths) {
    const auto b = noise<std::uint16_t>(width, 21, 1024);
    const auto g = noise<std::uint16_t>(width, 22, 1024);
    const auto r = noise<std::uint16_t>(width, 23, 1024);
    std::vector<std::uint16_t> expected(4 * width);
    img::plain_color_rows().cube(expected.data(), b.data(), g.data(), r.data(), cube.data(), width);
    every_level([&](const color_rows& rows, const char* level) {
      guarded<std::uint16_t> out(4 * width, 2 * (width % 5));
      rows.cube(out.data(), b.data(), g.data(), r.data(), cube.data(), width);
      EXPECT_TRUE(out.intact()) << level << " " << width;
      for (std::size_t i = 0; i < 4 * width; ++i) {
        if (i % 4 == 3) continue;
        ASSERT_EQ(out.data()[i], expected[i]) << level << " " << width << " at " << i;
      }
    });
  }
}

TEST_F(transfer_rows, a_node_comes_out_unchanged) {
  const auto cube = noisy_cube(5);
  std::vector<std::uint16_t> b, g, r;
  for (int i = 0; i < 16 * 16 * 16; ++i) {
    b.push_back(static_cast<std::uint16_t>(i % 16 * 64));
    g.push_back(static_cast<std::uint16_t>(i / 16 % 16 * 64));
    r.push_back(static_cast<std::uint16_t>(i / 256 * 64));
  }
  every_level([&](const color_rows& rows, const char* level) {
    std::vector<std::uint16_t> out(4 * b.size());
    rows.cube(out.data(), b.data(), g.data(), r.data(), cube.data(), b.size());
    for (std::size_t i = 0; i < b.size(); ++i) {
      const std::size_t node = ((i / 256 * 17 + i / 16 % 16) * 17 + i % 16) * 4;
      for (int c = 0; c < 3; ++c) ASSERT_EQ(out[4 * i + c], cube[node + c]) << level << " " << i;
    }
  });
}

TEST_F(transfer_rows, matrix) {
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
  const color_rows& plain = img::plain_color_rows();
  for (const auto& row : cases) {
    std::uint8_t r = static_cast<std::uint8_t>(row.in[0]), g = static_cast<std::uint8_t>(row.in[1]),
                 b = static_cast<std::uint8_t>(row.in[2]);
    plain.matrix(&b, &g, &r, row.m, 1);
    EXPECT_EQ(r, row.out[0]) << row.what;
    EXPECT_EQ(g, row.out[1]) << row.what;
    EXPECT_EQ(b, row.out[2]) << row.what;
    every_level([&](const color_rows& rows, const char* level) {
      for (const std::size_t width : widths) {
        std::vector<std::uint8_t> expected[3];
        for (unsigned c = 0; c < 3; ++c) expected[c] = noise<std::uint8_t>(width, 30 + c);
        guarded<std::uint8_t> b2(width, 1), g2(width, 2), r2(width, 3);
        std::copy(expected[0].begin(), expected[0].end(), b2.data());
        std::copy(expected[1].begin(), expected[1].end(), g2.data());
        std::copy(expected[2].begin(), expected[2].end(), r2.data());
        plain.matrix(expected[0].data(), expected[1].data(), expected[2].data(), row.m, width);
        rows.matrix(b2.data(), g2.data(), r2.data(), row.m, width);
        EXPECT_TRUE(b2.intact() && g2.intact() && r2.intact());
        EXPECT_TRUE(std::equal(expected[0].begin(), expected[0].end(), b2.data()) &&
                    std::equal(expected[1].begin(), expected[1].end(), g2.data()) &&
                    std::equal(expected[2].begin(), expected[2].end(), r2.data()))
            << row.what << " " << level << " " << width;
      }
    });
  }
}

}  // namespace
