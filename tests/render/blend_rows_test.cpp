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

render::row_operation operation_of(const render::row_operations& rows, int family, int blend, int alpha) {
  return family == opaque ? rows.opaque[blend][alpha] : rows.scaled[blend][alpha];
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
  support::every_level([&](const char* name) { check(render::current_rows(), name); });
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
  const auto check = [&](const render::row_operations& rows, const char* level) {
    for (const operation_case& test : operation_cases) {
      for (int n = 0; n < 2; ++n) {
        const int* pixel = pixels[n];
        std::vector<std::uint8_t> s(width, pixel[0]), a(width, pixel[1]);
        std::vector<std::uint8_t> d[4];
        for (int p = 0; p < 4; ++p) d[p].assign(width, p < 3 ? pixel[2] : pixel[3]);
        const render::target_span target{{d[0].data(), d[1].data(), d[2].data(), d[3].data()}, nullptr};
        const render::source_span source{{s.data(), s.data(), s.data(), a.data()}, pixel[4], 0};
        const int blend = static_cast<int>(test.blend);
        const int alpha = static_cast<int>(test.alpha);
        operation_of(rows, test.family, blend, alpha)(target, &source, 1, width);
        for (int x = 0; x < width; ++x) {
          for (int p = 0; p < 4; ++p) {
            EXPECT_EQ(d[p][x], test.expected[n][(x < 8 ? 0 : 2) + (p == 3)])
                << level << " family " << test.family << " blend " << blend << " alpha " << alpha << " pixel " << n
                << " column " << x << " plane " << p;
          }
        }
      }
    }
  };
  check(render::plain_rows(), "plain");
  every_kernel(check);
}

// Every pair of two samples or of a sample and an alpha, with awkward thirds, through both forms of every operation.
TEST(blend_rows, kernels_equal_the_plain_rows_for_all_pairs) {
  constexpr int width = 256;
  std::vector<std::uint8_t> s(width), a(width), A(width), d(width);
  std::vector<std::uint8_t> expected[4], found[4];
  every_kernel([&](const render::row_operations& rows, const char* level) {
    for (int family : {opaque, scaled}) {
      for (int blend = 0; blend < render::blend_count; ++blend) {
        for (int alpha = 0; alpha < render::alpha_count; ++alpha) {
          for (int y = 0; y < 256; ++y) {
            // Columns run through the source sample or, in odd rounds, through the alpha.
            for (int round = 0; round < 4; ++round) {
              const int awkward[] = {0, 1, 127, 128, 129, 254, 255, y};
              for (int x = 0; x < width; ++x) {
                s[x] = static_cast<std::uint8_t>(round % 2 == 0 ? x : awkward[y % 8]);
                a[x] = static_cast<std::uint8_t>(round % 2 == 0 ? awkward[y * 7 % 8] : x);
                d[x] = static_cast<std::uint8_t>(y);
                A[x] = static_cast<std::uint8_t>(y ^ 0x55);
              }
              const int weights[] = {0, 1, 127, 128, 129, 252, 253, y % 254};
              const int weight = weights[(y / 8) % 8];
              for (int p = 0; p < 4; ++p) expected[p] = found[p] = p < 3 ? d : A;
              // Spans of 7 samples are all tail.
              const int span = round < 2 ? width : 7;
              auto run = [&](const render::row_operations& with, std::vector<std::uint8_t>* out) {
                for (int x = 0; x < width; x += span) {
                  const render::target_span target{
                      {out[0].data() + x, out[1].data() + x, out[2].data() + x, out[3].data() + x}, nullptr};
                  const render::source_span source{{s.data() + x, s.data() + x, s.data() + x, a.data() + x}, weight, 0};
                  operation_of(with, family, blend, alpha)(target, &source, 1, std::min(span, width - x));
                }
              };
              run(render::plain_rows(), expected);
              run(rows, found);
              for (int p = 0; p < 4; ++p) {
                ASSERT_EQ(difference(found[p], expected[p]), "")
                    << level << " family " << family << " blend " << blend << " alpha " << alpha << " target " << y
                    << " weight " << weight << " round " << round << " plane " << p;
              }
            }
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
  std::minstd_rand random(7);
  auto noise = [&](std::vector<std::uint8_t>& bytes) {
    bytes.resize(room);
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random() >> 8);
  };
  every_kernel([&](const render::row_operations& rows, const char* level) {
    for (int width = 0; width <= 67 + 64; ++width) {
      for (int family : {opaque, scaled}) {
        for (int blend = 0; blend < render::blend_count; ++blend) {
          for (int alpha = 0; alpha < render::alpha_count; ++alpha) {
            const int offset = guard + static_cast<int>(random() >> 8) % 33;
            // 0: all planes; 1: gray sources; 2: a target of one plane; 3: a target without alpha
            const int shape = static_cast<int>(random() >> 8) % 4;
            const int layers = 1 + static_cast<int>(random() >> 8) % render::most_layers;
            const std::uint8_t samples[4] = {0, 90, 200, 255};
            const bool from_background = (random() >> 8) % 2 == 0;
            std::vector<std::uint8_t> source[render::most_layers][4], expected[4], found[4];
            for (int p = 0; p < 4; ++p) {
              for (auto& layer : source) noise(layer[p]);
              noise(expected[p]);
              found[p] = expected[p];
            }
            render::source_span sources[render::most_layers]{};
            for (int l = 0; l < layers; ++l) {
              for (int p = 0; p < (alpha == 0 ? 3 : 4); ++p) {
                sources[l].planes[p] = source[l][shape == 1 && p < 3 ? 0 : p].data() + offset - p - l;
              }
              sources[l].weight = static_cast<int>(random() >> 8) % 254;
            }
            auto run = [&](const render::row_operations& with, std::vector<std::uint8_t>* out) {
              render::target_span target{};
              for (int p = 0; p < 4; ++p) {
                if (shape == 2 && (p == 1 || p == 2)) continue;
                if (shape == 3 && p == 3) continue;
                target.planes[p] = out[p].data() + offset + p;
              }
              if (from_background) target.background = samples;
              operation_of(with, family, blend, alpha)(target, sources, layers, width);
            };
            run(render::plain_rows(), expected);
            run(rows, found);
            for (int p = 0; p < 4; ++p) {
              ASSERT_EQ(difference(found[p], expected[p]), "")
                  << level << " width " << width << " family " << family << " blend " << blend << " alpha " << alpha
                  << " shape " << shape << " plane " << p;
            }
          }
        }
      }
      std::vector<std::uint8_t> source, expected;
      noise(source);
      noise(expected);
      std::vector<std::uint8_t> found = expected;
      render::plain_rows().keep_larger(expected.data() + guard, source.data() + guard + 1, width);
      rows.keep_larger(found.data() + guard, source.data() + guard + 1, width);
      ASSERT_EQ(difference(found, expected), "") << level << " keep_larger, width " << width;
    }
  });
}

// The plain rows themselves leave what is behind and before the span.
TEST(blend_rows, plain_rows_write_nothing_outside_the_span) {
  for (int family : {opaque, scaled}) {
    for (int blend = 0; blend < render::blend_count; ++blend) {
      for (int alpha = 0; alpha < render::alpha_count; ++alpha) {
        std::vector<std::uint8_t> source(40, 77), target(40, 201);
        const render::target_span span{{target.data() + 10, nullptr, nullptr, nullptr}, nullptr};
        const render::source_span layer{{source.data(), source.data(), source.data(), source.data()}, 100, 0};
        operation_of(render::plain_rows(), family, blend, alpha)(span, &layer, 1, 19);
        for (int x = 0; x < 40; ++x) {
          if (x < 10 || x >= 29) {
            EXPECT_EQ(target[x], 201) << x;
          }
        }
      }
    }
  }
}

}  // namespace
