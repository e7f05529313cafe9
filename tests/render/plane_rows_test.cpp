#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "render/plane_kernels.h"
#include "support/levels.h"

namespace {

using render::plane_kernels;

constexpr std::size_t longest = 150;
constexpr std::size_t guard = 8;

// One row in and out, three rows in.
struct rows {
  std::vector<std::uint8_t> out = std::vector<std::uint8_t>(guard + longest + 8 + guard, 0xA5);
  std::vector<std::uint8_t> in[3];

  rows(unsigned seed, std::size_t n, std::size_t offset) : n(n), offset(offset) {
    std::mt19937 random(seed);
    for (auto& row : in) {
      row.resize(longest + 8);
      for (auto& sample : row) sample = static_cast<std::uint8_t>(random());
    }
    for (std::size_t i = 0; i < n; ++i) d()[i] = static_cast<std::uint8_t>(random());
  }
  std::uint8_t* d() { return out.data() + guard + offset; }
  const std::uint8_t* s(int i) const { return in[i].data() + offset; }

  std::size_t n;
  std::size_t offset;
};

struct kernel_case {
  const char* name;
  std::function<void(const plane_kernels&, rows&)> run;
};

const render::key_row steep{10, 200, 30, 48, 6, 85, false};
const render::key_row wide{128, 128, 128, 300, 510, 1, true};

const kernel_case kernel_cases[] = {
    {"luminance", [](const plane_kernels& k, rows& r) { k.luminance(r.d(), r.s(0), r.s(1), r.s(2), r.n); }},
    {"key", [](const plane_kernels& k, rows& r) { k.key(r.d(), r.s(0), r.s(1), r.s(2), r.n, &steep, false); }},
    {"lesser key", [](const plane_kernels& k, rows& r) { k.key(r.d(), r.s(0), r.s(1), r.s(2), r.n, &steep, true); }},
    {"reversed key", [](const plane_kernels& k, rows& r) { k.key(r.d(), r.s(0), r.s(1), r.s(2), r.n, &wide, false); }},
    {"invert", [](const plane_kernels& k, rows& r) { k.invert(r.d(), r.s(0), r.n); }},
    {"invert in place", [](const plane_kernels& k, rows& r) { k.invert(r.d(), r.d(), r.n); }},
    {"multiply", [](const plane_kernels& k, rows& r) { k.multiply(r.d(), r.s(0), r.n); }},
    {"screen", [](const plane_kernels& k, rows& r) { k.screen(r.d(), r.s(0), r.n); }},
    {"lerp", [](const plane_kernels& k, rows& r) { k.lerp(r.d(), r.s(0), r.s(1), r.n, 76); }},
    {"lerp in place", [](const plane_kernels& k, rows& r) { k.lerp(r.d(), r.s(0), r.d(), r.n, 150); }},
    {"interleave even", [](const plane_kernels& k, rows& r) { k.interleave(r.d(), r.s(0), r.n, 0); }},
    {"interleave odd", [](const plane_kernels& k, rows& r) { k.interleave(r.d(), r.s(0), r.n, 1); }},
    {"checker", [](const plane_kernels& k, rows& r) { k.checker(r.d(), r.s(0), r.n, 0, 102, 153); }},
    {"checker at 13", [](const plane_kernels& k, rows& r) { k.checker(r.d(), r.s(0), r.n, 13, 153, 102); }},
};

TEST(plane_kernels, every_level_gives_the_plain_rows_and_stays_within_the_width) {
  support::every_level([](const char* level) {
    for (const kernel_case& kernel : kernel_cases) {
      for (std::size_t n = 0; n <= longest; ++n) {
        for (const std::size_t offset : {0, 1, 3}) {
          rows expected(static_cast<unsigned>(n), n, offset);
          rows found = expected;
          kernel.run(render::plain_plane_kernels(), expected);
          kernel.run(render::active_plane_kernels(), found);
          ASSERT_EQ(found.out, expected.out) << level << ' ' << kernel.name << " width " << n << " offset " << offset;
        }
      }
    }
  });
}

// The two roundings by hand: 200 * 100 / 255 is 78.4, (200 + 1) * 100 >> 8 is 78; 127 * 2 / 255 is 0.996, and 0 both
// ways; 255 * 254: 254 both ways; 129 * 253: 127.99 and (129 + 1) * 253 >> 8 = 128.
TEST(plane_kernels, products_round_one_way_in_eights_and_the_other_in_the_tail) {
  struct product {
    int own, alpha, bulk, tail;
  };
  for (const product& p : {product{200, 100, 78, 78}, {127, 2, 0, 0}, {255, 254, 254, 254}, {129, 253, 128, 127}}) {
    std::uint8_t own[9], alpha[9];
    std::fill_n(own, 9, static_cast<std::uint8_t>(p.own));
    std::fill_n(alpha, 9, static_cast<std::uint8_t>(p.alpha));
    render::active_plane_kernels().multiply(alpha, own, 9);
    EXPECT_EQ(alpha[7], p.bulk) << p.own << " * " << p.alpha;
    EXPECT_EQ(alpha[8], p.tail) << p.own << " * " << p.alpha;
    // The screen of the complements is the complement of the product.
    std::fill_n(own, 9, static_cast<std::uint8_t>(255 - p.own));
    std::fill_n(alpha, 9, static_cast<std::uint8_t>(255 - p.alpha));
    render::active_plane_kernels().screen(alpha, own, 9);
    EXPECT_EQ(alpha[7], 255 - p.bulk) << p.own << " * " << p.alpha;
    EXPECT_EQ(alpha[8], 255 - p.tail) << p.own << " * " << p.alpha;
  }
}

}  // namespace
