#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "composition/enums.h"
#include "render/rows.h"
#include "support/levels.h"

namespace {

using ksn::alpha_type;
using ksn::blend_type;

enum row_family { opaque, scaled };

struct operation_name {
  int family, blend, alpha;
  render::row_operation of(const render::blend_kernels& rows) const {
    return family == opaque ? rows.opaque[blend][alpha] : rows.scaled[blend][alpha];
  }
};

std::ostream& operator<<(std::ostream& out, const operation_name& name) {
  return out << "family " << name.family << " blend " << name.blend << " alpha " << name.alpha;
}

std::vector<operation_name> all_operations() {
  std::vector<operation_name> names;
  for (const int family : {opaque, scaled}) {
    for (int blend = 0; blend < render::blend_count; ++blend) {
      for (int alpha = 0; alpha < render::alpha_count; ++alpha) names.push_back({family, blend, alpha});
    }
  }
  return names;
}

// Where two rows differ and how, empty when they are equal.
std::string difference(const std::vector<std::uint8_t>& found, const std::vector<std::uint8_t>& expected) {
  for (std::size_t x = 0; x < expected.size(); ++x) {
    if (found[x] != expected[x]) {
      return "column " + std::to_string(x) + ": " + std::to_string(found[x]) + ", expected " +
             std::to_string(expected[x]);
    }
  }
  return "";
}

// Calls check(rows, name) with the kernels of every level that this machine has.
template <class Check>
void every_kernel(Check check) {
  support::every_level([&](const char* name) { check(render::active_blend_kernels(), name); });
}

// Two pixels through every operation: colour and alpha as the bulk of a row gives them, then as its tail does.
struct operation_case {
  row_family family;
  blend_type blend;
  alpha_type alpha;
  int expected[2][4];
};

const operation_case operation_cases[] = {
    {opaque, blend_type::normal, alpha_type::ignore, {{200, 255, 200, 255}, {220, 255, 220, 255}}},
    {opaque, blend_type::normal, alpha_type::normal, {{111, 118, 111, 118}, {227, 203, 227, 204}}},
    {opaque, blend_type::normal, alpha_type::pm, {{233, 118, 233, 118}, {255, 203, 255, 204}}},
    {opaque, blend_type::normal, alpha_type::mask, {{133, 118, 133, 118}, {245, 203, 246, 204}}},
    {opaque, blend_type::add, alpha_type::ignore, {{255, 30, 255, 30}, {255, 143, 255, 143}}},
    {opaque, blend_type::add, alpha_type::normal, {{133, 69, 133, 69}, {255, 219, 255, 218}}},
    {opaque, blend_type::add, alpha_type::pm, {{255, 130, 255, 130}, {255, 255, 255, 255}}},
    {opaque, blend_type::add, alpha_type::mask, {{155, 130, 155, 130}, {255, 255, 255, 255}}},
    {opaque, blend_type::multiply, alpha_type::ignore, {{43, 30, 43, 30}, {203, 143, 203, 143}}},
    {opaque, blend_type::multiply, alpha_type::normal, {{50, 22, 50, 22}, {218, 107, 217, 107}}},
    {opaque, blend_type::multiply, alpha_type::pm, {{55, 30, 55, 30}, {236, 143, 236, 143}}},
    {opaque, blend_type::multiply, alpha_type::mask, {{55, 30, 55, 30}, {236, 143, 236, 143}}},
    {opaque, blend_type::screen, alpha_type::ignore, {{213, 30, 212, 30}, {253, 143, 253, 143}}},
    {opaque, blend_type::screen, alpha_type::normal, {{116, 64, 116, 64}, {245, 176, 244, 175}}},
    {opaque, blend_type::screen, alpha_type::pm, {{213, 118, 212, 119}, {253, 205, 253, 205}}},
    {opaque, blend_type::screen, alpha_type::mask, {{133, 118, 133, 118}, {245, 203, 246, 204}}},
    {opaque, blend_type::difference, alpha_type::ignore, {{145, 30, 145, 30}, {16, 143, 16, 143}}},
    {opaque, blend_type::difference, alpha_type::normal, {{23, 9, 23, 9}, {116, 67, 117, 68}}},
    {opaque, blend_type::difference, alpha_type::pm, {{145, 70, 145, 70}, {16, 4, 16, 4}}},
    {opaque, blend_type::difference, alpha_type::mask, {{45, 70, 45, 70}, {97, 4, 97, 4}}},
    {scaled, blend_type::normal, alpha_type::ignore, {{127, 142, 127, 142}, {220, 254, 220, 254}}},
    {scaled, blend_type::normal, alpha_type::normal, {{83, 74, 83, 74}, {227, 202, 227, 203}}},
    {scaled, blend_type::normal, alpha_type::pm, {{144, 74, 144, 74}, {255, 202, 255, 203}}},
    {scaled, blend_type::normal, alpha_type::mask, {{94, 74, 94, 74}, {245, 202, 246, 203}}},
    {scaled, blend_type::add, alpha_type::ignore, {{155, 30, 155, 30}, {255, 143, 255, 143}}},
    {scaled, blend_type::add, alpha_type::normal, {{94, 49, 94, 49}, {255, 218, 255, 217}}},
    {scaled, blend_type::add, alpha_type::pm, {{155, 80, 155, 80}, {255, 255, 255, 255}}},
    {scaled, blend_type::add, alpha_type::mask, {{105, 80, 105, 80}, {255, 255, 255, 255}}},
    {scaled, blend_type::multiply, alpha_type::ignore, {{48, 30, 48, 30}, {203, 143, 203, 143}}},
    {scaled, blend_type::multiply, alpha_type::normal, {{52, 26, 52, 26}, {218, 107, 218, 107}}},
    {scaled, blend_type::multiply, alpha_type::pm, {{55, 30, 55, 30}, {236, 143, 236, 143}}},
    {scaled, blend_type::multiply, alpha_type::mask, {{55, 30, 55, 30}, {236, 143, 236, 143}}},
    {scaled, blend_type::screen, alpha_type::ignore, {{133, 30, 133, 30}, {252, 143, 252, 143}}},
    {scaled, blend_type::screen, alpha_type::normal, {{85, 46, 85, 46}, {245, 176, 244, 175}}},
    {scaled, blend_type::screen, alpha_type::pm, {{133, 74, 133, 74}, {252, 202, 252, 203}}},
    {scaled, blend_type::screen, alpha_type::mask, {{94, 74, 94, 74}, {245, 202, 246, 203}}},
    {scaled, blend_type::difference, alpha_type::ignore, {{45, 30, 45, 30}, {18, 143, 18, 143}}},
    {scaled, blend_type::difference, alpha_type::normal, {{16, 11, 16, 11}, {119, 68, 118, 69}}},
    {scaled, blend_type::difference, alpha_type::pm, {{45, 20, 45, 20}, {18, 6, 18, 6}}},
    {scaled, blend_type::difference, alpha_type::mask, {{5, 20, 5, 20}, {99, 6, 99, 6}}},
};

TEST(blend_rows, bulk_and_tail_of_every_operation) {
  // source sample and alpha, target sample and alpha, weight of the scaled operations (50 % and 99 %)
  const int pixels[2][5] = {{200, 100, 55, 30, 128}, {220, 139, 236, 143, 253}};
  constexpr int width = 15;
  const auto check = [&](const render::blend_kernels& rows, const char* level) {
    for (const operation_case& test : operation_cases) {
      for (int n = 0; n < 2; ++n) {
        const int* pixel = pixels[n];
        const std::vector<std::uint8_t> s(width, pixel[0]), a(width, pixel[1]);
        std::vector<std::uint8_t> d[4];
        for (int p = 0; p < 4; ++p) d[p].assign(width, p < 3 ? pixel[2] : pixel[3]);
        const render::target_span target{{d[0].data(), d[1].data(), d[2].data(), d[3].data()}, nullptr};
        const render::source_span source{{s.data(), s.data(), s.data(), a.data()}, pixel[4], 0};
        const operation_name name{test.family, static_cast<int>(test.blend), static_cast<int>(test.alpha)};
        name.of(rows)(target, &source, 1, width);
        for (int x = 0; x < width; ++x) {
          for (int p = 0; p < 4; ++p) {
            EXPECT_EQ(d[p][x], test.expected[n][(x < 8 ? 0 : 2) + (p == 3)])
                << level << ' ' << name << " pixel " << n << " column " << x << " plane " << p;
          }
        }
      }
    }
  };
  check(render::plain_blend_kernels(), "plain");
  every_kernel(check);
}

using byte_row = std::vector<std::uint8_t>;

// Runs both over the same target rows, from `offset` on in spans, and compares all that the rows hold. Bit p of
// `missing` leaves plane p out of the target.
std::string compare(const render::blend_kernels& rows, const operation_name& name, const render::source_span* sources,
                    int layers, const byte_row (&below)[4], const std::uint8_t* background, int missing, int offset,
                    int width, int span) {
  byte_row expected[4], found[4];
  const auto run = [&](const render::blend_kernels& with, byte_row* out) {
    std::copy_n(below, 4, out);
    for (int x = 0; x < std::max(width, 1); x += span) {
      render::target_span target{};
      target.background = background;
      render::source_span moved[render::most_layers]{};
      for (int p = 0; p < 4; ++p) {
        if ((missing >> p & 1) == 0) target.planes[p] = out[p].data() + offset + p + x;
        for (int l = 0; l < layers; ++l) {
          moved[l].weight = sources[l].weight;
          if (sources[l].planes[p]) moved[l].planes[p] = sources[l].planes[p] + x;
        }
      }
      name.of(with)(target, moved, layers, std::min(span, width - x));
    }
  };
  run(render::plain_blend_kernels(), expected);
  run(rows, found);
  for (int p = 0; p < 4; ++p) {
    const std::string different = difference(found[p], expected[p]);
    if (!different.empty()) return "plane " + std::to_string(p) + ' ' + different;
  }
  return "";
}

// Every pair of two samples or of a sample and an alpha, with awkward thirds, through both forms of every operation.
TEST(blend_rows, kernels_equal_the_plain_rows_for_all_pairs) {
  byte_row s(256), a(256);
  every_kernel([&](const render::blend_kernels& rows, const char* level) {
    for (int y = 0; y < 256; ++y) {
      const byte_row d(260, static_cast<std::uint8_t>(y));
      const byte_row below[4] = {d, d, d, byte_row(260, static_cast<std::uint8_t>(y ^ 0x55))};
      const int awkward[] = {0, 1, 127, 128, 129, 254, 255, y};
      const int weights[] = {0, 1, 127, 128, 129, 252, 253, y % 254};
      for (const bool alpha_runs : {false, true}) {
        for (int x = 0; x < 256; ++x) {
          s[x] = static_cast<std::uint8_t>(alpha_runs ? awkward[y % 8] : x);
          a[x] = static_cast<std::uint8_t>(alpha_runs ? x : awkward[y * 7 % 8]);
        }
        const render::source_span source{{s.data(), s.data(), s.data(), a.data()}, weights[y / 8 % 8], 0};
        for (const operation_name& name : all_operations()) {
          for (const int span : {256, 7}) {  // spans of 7 samples are all tail
            ASSERT_EQ(compare(rows, name, &source, 1, below, nullptr, 0, 0, 256, span), "")
                << level << ' ' << name << " target " << y << " weight " << source.weight << " span " << span;
          }
        }
      }
    }
  });
}

// Random rows of every width up to a few vectors: misaligned, one or two layers at a time, onto the target or a
// background, with planes left out, and with guard bytes that must stay.
TEST(blend_rows, kernels_equal_the_plain_rows_at_every_width) {
  constexpr int room = 256;
  constexpr int guard = 64;
  std::minstd_rand engine(7);
  const auto random = [&](int below) { return static_cast<int>(engine() >> 8) % below; };
  const auto noise = [&] {
    byte_row bytes(room);
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random(256));
    return bytes;
  };
  const auto check = [&](const render::blend_kernels& rows, const char* level, const operation_name& name, int width) {
    const int offset = guard + random(33);
    const bool gray = random(4) == 0;
    const int missing[] = {0, 0, 0b0110, 0b1000};
    const int left_out = missing[random(4)];
    const int layers = 1 + random(render::most_layers);
    const std::uint8_t samples[4] = {0, 90, 200, 255};
    const byte_row below[4] = {noise(), noise(), noise(), noise()};
    byte_row source[render::most_layers][4];
    render::source_span sources[render::most_layers]{};
    for (int l = 0; l < layers; ++l) {
      for (byte_row& plane : source[l]) plane = noise();
      for (int p = 0; p < (name.alpha == 0 ? 3 : 4); ++p) {
        sources[l].planes[p] = source[l][gray && p < 3 ? 0 : p].data() + offset - p - l;
      }
      sources[l].weight = random(254);
    }
    ASSERT_EQ(compare(rows, name, sources, layers, below, random(2) ? samples : nullptr, left_out, offset, width,
                      std::max(width, 1)),
              "")
        << level << ' ' << name << " width " << width << " gray " << gray << " left out " << left_out;
  };
  every_kernel([&](const render::blend_kernels& rows, const char* level) {
    for (int width = 0; width <= 67 + 64; ++width) {
      for (const operation_name& name : all_operations()) check(rows, level, name, width);
      const byte_row source = noise();
      byte_row expected = noise();
      byte_row found = expected;
      render::plain_blend_kernels().keep_larger(expected.data() + guard, source.data() + guard + 1, width);
      rows.keep_larger(found.data() + guard, source.data() + guard + 1, width);
      ASSERT_EQ(difference(found, expected), "") << level << " keep_larger, width " << width;
    }
  });
}

}  // namespace
