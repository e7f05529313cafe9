// The per-sample function against values worked out by hand from its formulas.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include "img/correction_math.h"
#include "img/transfer.h"
#include "img/transfer_tables.h"

namespace {

using img::correction;

enum { blue, green, red };

correction with(int correction::*field, int value) {
  correction s;
  s.*field = value;
  return s;
}

correction with(std::array<int, 3> correction::*field, int value) {
  correction s;
  (s.*field).fill(value);
  return s;
}

correction operator+(correction a, const std::function<void(correction&)>& change) {
  change(a);
  return a;
}

TEST(transfer_math, log_codes) {
  const struct {
    int code;
    double linear;
  } decoded[] = {{0, -0.005650819439456882},  {94, -8.34597485362758e-05}, {95, 0},
                 {96, 8.410279038658146e-05}, {445, 0.14930371202167764},  {685, 1},
                 {686, 1.0077889169264909},   {1023, 13.521694568553716}};
  for (const auto& row : decoded) EXPECT_NEAR(img::log_decode(row.code), row.linear, 1e-14) << row.code;
  EXPECT_EQ(img::log_decode(95), 0);

  const double infinity = std::numeric_limits<double>::infinity();
  const struct {
    double linear;
    int code;
  } encoded[] = {{-infinity, 0}, {-1, 0},     {-0.0109, 0},     {0.001, 107},     {0.18, 468},
                 {0.5, 597},     {1, 685},    {2, 774},         {3.99975, 864},   {13, 1017},
                 {14, 1023},     {100, 1023}, {infinity, 1023}, {std::nan(""), 0}};
  for (const auto& row : encoded) EXPECT_EQ(img::log_encode(row.linear), row.code) << row.linear;
  for (int code = 0; code < 1024; ++code) {
    EXPECT_NEAR(img::log_encode(img::log_decode(code)), code, 1) << code;
  }
}

TEST(transfer_math, srgb_is_continuous_and_inverts) {
  EXPECT_NEAR(img::srgb_decode(0.04045), 0.04045 / 12.92, 1e-12);
  EXPECT_NEAR(img::srgb_decode(0.5), 0.21404114048223255, 1e-14);
  EXPECT_NEAR(img::srgb_encode(0.5), 0.7353569830524495, 1e-14);
  EXPECT_DOUBLE_EQ(img::srgb_encode(-0.1), -1.292);
  for (double v = -0.5; v < 3; v += 0.0137) EXPECT_NEAR(img::srgb_encode(img::srgb_decode(v)), v, 1e-7) << v;
}

TEST(transfer_math, temperature) {
  const struct {
    int kelvin;
    double gain[3];
  } rows[] = {{-5, {0, 0.05767092231579748, 1}},
              {1000, {0, 0.05767092231579748, 1}},
              {1900, {0, 0.22985416742180062, 1}},
              {3200, {0.19848377677581372, 0.47711543783537974, 1}},
              {6550, {0.9672694847963886, 0.9988612959760605, 1}},
              {6600, {1, 1, 1}},
              {6601, {1, 0.9701872310226737, 1}},
              {10000, {1, 0.7016148631915018, 0.588680713678022}},
              {40000, {1, 0.4882520843538593, 0.3125127859864543}},
              {99999, {1, 0.4882520843538593, 0.3125127859864543}}};
  for (const auto& row : rows) {
    const img::correction_math math(with(&correction::temperature, row.kelvin));
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(math.temperature_gain(c), row.gain[c], 1e-12) << row.kelvin << " " << c;
  }
}

TEST(transfer_math, correction_of_one_sample) {
  const struct {
    const char* what;
    correction settings;
    double in;
    double out;
  } rows[] = {
      {"nothing", {}, -0.25, -0.25},
      {"exposure", with(&correction::exposure, 150), 0.18, 0.18 * 2.8284271247461903},
      {"exposure down", with(&correction::exposure, -100), 0.18, 0.09},
      {"temperature of blue", with(&correction::temperature, 3200), 1, 0.19848377677581372},
      {"lift lifts black", with(&correction::lift, 100), 0, 0.1},
      {"lift keeps white", with(&correction::lift, 100), 1, 1},
      {"lift at half", with(&correction::lift, -200), 0.5, 0.4},
      {"gain", with(&correction::gain, 150), 0.5, 0.75},
      {"gamma squares", with(&correction::gamma, 200), 0.5, 0.25},
      {"gamma of a negative", with(&correction::gamma, 200), -0.5, 0},
      {"gamma 0 is white", with(&correction::gamma, 0), 0.3, 1},
      {"brightness", with(&correction::brightness, 100), 0.25, 0.36},
      {"brightness below black", with(&correction::brightness, -600), 0.25, 0},
      {"contrast", with(&correction::contrast, 100), 0.25, 0.5929},
      {"contrast pivot", with(&correction::contrast, 100), 0.0529, 0.0529},
      {"contrast of a negative", with(&correction::contrast, 100), -1, 0},
      {"less contrast of a negative", with(&correction::contrast, -100), -1, 0.013225},
      {"soft clip", with(&correction::soft_clip, 100), 1, 0.9738310597575758},
      {"soft clip far above", with(&correction::soft_clip, 100), 4, 1.8183197556268138},
      {"soft clip below the knee", with(&correction::soft_clip, 100), 0.8, 0.8},
      {"lift comes after exposure", with(&correction::lift, 100) + [](correction& s) { s.exposure.fill(100); }, 0.25,
       0.5 + 0.5 * 0.1},
      {"gamma comes after lift", with(&correction::lift, 500) + [](correction& s) { s.gamma.fill(200); }, 0, 0.25},
      {"contrast comes after gamma", with(&correction::gamma, 200) + [](correction& s) { s.contrast.fill(100); }, 0.5,
       0.5929},
      {"soft clip comes last", with(&correction::brightness, 500) + [](correction& s) { s.soft_clip = 100; }, 0.25,
       0.9738310597575758},
      {"disabled", with(&correction::gamma, 200) + [](correction& s) { s.disable_cc = true; }, -0.5, -0.5},
  };
  for (const auto& row : rows) {
    EXPECT_NEAR(img::correction_math(row.settings).correct(row.in, blue), row.out, 1e-12) << row.what;
  }
  const img::correction_math soft(with(&correction::soft_clip, 100));
  EXPECT_EQ(soft.soft_clip_slope(), 2);
  EXPECT_NEAR(soft.soft_clip_knee(), 0.820335356007638, 1e-12);
}

TEST(transfer_math, channels_have_their_own_settings) {
  correction s;
  s.exposure = {100, 0, -100};
  s.gamma = {100, 200, 100};
  const img::correction_math math(s);
  EXPECT_DOUBLE_EQ(math.correct(0.5, blue), 1);
  EXPECT_DOUBLE_EQ(math.correct(0.5, green), 0.25);
  EXPECT_DOUBLE_EQ(math.correct(0.5, red), 0.25);
}

TEST(transfer_math, bytes) {
  const correction off = correction{} + [](correction& s) { s.disable_cc = true; };
  const correction doubled = with(&correction::exposure, 100);
  const double nan = std::nan("");
  const struct {
    const char* what;
    correction settings;
    double in;
    int space;
    int out;
  } rows[] = {
      {"linear is encoded", {}, 0.5, 1, 188},
      {"sRGB passes", {}, 0.5, 2, 127},
      {"black", {}, 0, 1, 0},
      {"below black", {}, -0.3, 1, 0},
      {"white", {}, 1, 1, 255},
      {"just below white", {}, 254.9 / 255.99, 2, 254},
      {"infinity", {}, std::numeric_limits<double>::infinity(), 1, 255},
      {"not a number", {}, nan, 1, 0},
      {"not a number, passing", {}, nan, 2, 0},
      {"disabled, linear is encoded", off, 0.5, 1, 188},
      {"disabled, sRGB is only scaled", off, 0.5, 2, 127},
      // 0.5 decoded is 0.21404114; doubled 0.42808228, encoded 0.6858353.
      {"a correction works on linear light", doubled, 0.5, 2, 175},
      {"the same from linear", doubled, 0.25, 1, 188},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(img::correction_math(row.settings).to_byte(row.in, blue, row.space), row.out) << row.what;
  }
  for (int i = 0; i < 256; ++i) EXPECT_EQ(img::correction_math({}).to_byte(i / 255.0, blue, 2), i);
}

TEST(transfer_math, floats_are_linear_and_not_clamped) {
  EXPECT_FLOAT_EQ(img::correction_math({}).to_float(0.5, blue, 2), 0.21404114f);
  EXPECT_FLOAT_EQ(img::correction_math({}).to_float(-3, blue, 1), -3);
  EXPECT_FLOAT_EQ(img::correction_math(with(&correction::exposure, 200)).to_float(2.5, blue, 1), 10);
}

TEST(transfer_math, identity) {
  const correction off = correction{} + [](correction& s) { s.disable_cc = true; };
  const auto with_curves = [](correction& s) { s.lookup_table.set_1d(std::vector<double>(3072, 0.5), true); };
  const struct {
    const char* what;
    correction settings;
    int default_space;
    bool expected;
  } rows[] = {
      {"8-bit", {}, 2, true},
      {"half", {}, 1, false},
      {"8-bit taken as linear", with(&correction::color_space, 1), 2, false},
      {"half taken as sRGB", with(&correction::color_space, 2), 1, true},
      {"the matrix does not count", with(&correction::saturation, 0), 2, true},
      {"disabled, linear", off, 1, false},
      {"a lookup", correction{} + with_curves, 2, false},
      {"disabled with a lookup", off + with_curves, 2, false},
      {"temperature", with(&correction::temperature, 6601), 2, false},
      {"soft clip", with(&correction::soft_clip, 1), 2, false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(img::transfer(row.settings).is_identity(blue, row.default_space), row.expected) << row.what;
  }
  for (const auto field : {&correction::exposure, &correction::lift, &correction::gamma, &correction::gain,
                           &correction::brightness, &correction::contrast}) {
    correction s;
    ++(s.*field)[green];
    EXPECT_FALSE(img::transfer(s).is_identity(green, 2));
    EXPECT_TRUE(img::transfer(s).is_identity(blue, 2));
    s.disable_cc = true;
    EXPECT_TRUE(img::transfer(s).is_identity(green, 2));
  }
}

TEST(transfer_math, a_lookup_states_its_space) {
  correction s;
  EXPECT_EQ(img::effective_space(s, 1), 1);
  EXPECT_EQ(img::effective_space(s, 2), 2);
  s.lookup_table.set_1d(std::vector<double>(3072), true);
  EXPECT_EQ(img::effective_space(s, 1), 2);
  s.lookup_table.output_srgb1 = false;
  EXPECT_EQ(img::effective_space(s, 2), 1);
  s.lookup_table.set_3d(std::vector<std::uint16_t>(img::lookup_table::cube_entries), true);
  EXPECT_EQ(img::effective_space(s, 1), 2);
  s.color_space = 1;
  EXPECT_EQ(img::effective_space(s, 2), 1);
}

TEST(transfer_math, hue_and_saturation) {
  const struct {
    int hue;
    int saturation;
    double matrix[9];
  } rows[] = {
      {0, 100, {1, 0, 0, 0, 1, 0, 0, 0, 1}},
      {0, 0, {0.2126, 0.7152, 0.0722, 0.2126, 0.7152, 0.0722, 0.2126, 0.7152, 0.0722}},
      {0, 200, {1.7874, -0.7152, -0.0722, -0.2126, 1.2848, -0.0722, -0.2126, -0.7152, 1.9278}},
      {90, 100, {0.032172, 0.108228, 0.8596, 0.359896, 0.810554, -0.17045, -0.7152, 1.557926, 0.157274}},
      {-30, 150, {1.370784, 0.241357, -0.612141, -0.174048, 1.01365, 0.160397, 0.632274, -0.845917, 1.213642}},
  };
  for (const auto& row : rows) {
    correction s = with(&correction::hue, row.hue);
    s.saturation.fill(row.saturation);
    const img::color_matrix m = img::hue_saturation_matrix(s);
    for (int i = 0; i < 9; ++i) {
      EXPECT_NEAR(m[i / 3][i % 3], row.matrix[i], 1e-6) << row.hue << " " << row.saturation << " entry " << i;
    }
    EXPECT_EQ(img::transfer(s).has_matrix(), row.hue != 0 || row.saturation != 100);
    s.disable_cc = true;
    EXPECT_FALSE(img::transfer(s).has_matrix());
  }
  // The first column, what red gives, follows the settings of red.
  correction s;
  s.saturation[red] = 0;
  const img::color_matrix m = img::hue_saturation_matrix(s);
  EXPECT_NEAR(m[1][0], 0.2126, 1e-9);
  EXPECT_NEAR(m[1][1], 1, 1e-9);
  EXPECT_NEAR(m[1][2], 0, 1e-9);
}

TEST(transfer_math, tables_of_no_settings) {
  const auto check = [](const char* what, const auto* table, const std::vector<std::pair<int, int>>& entries) {
    for (const auto& [index, value] : entries) EXPECT_EQ(table[index], value) << what << " " << index;
  };
  check("linear index", img::log_to_linear_index(),
        {{0, 0}, {95, 0}, {300, 43}, {445, 153}, {685, 1023}, {1023, 1023}});
  check("log", img::fixed_to_log(), {{0, 0}, {512 + 4096, 685}, {512 + 2048, 597}, {16383, 860}});
  // -0.125, 0, 0.5
  check("half", img::fixed_to_half(), {{0, 0xB000}, {512, 0}, {512 + 2048, 0x3800}});
  // 511.5 goes to the even neighbour; 2, -1 and what is no number
  check("index", img::half_to_index(), {{0x3800, 512}, {0x4000, 1023}, {0xBC00, 0}, {0x7E00, 0}});
  check("alpha", img::half_to_alpha(), {{0x3800, 127}, {0x3C00, 255}, {0x8001, 0}});
}

TEST(transfer_math, sample_table) {
  correction s;
  const struct {
    int color_space;
    bool cineon, srgb;
    int code;
    double value;
  } rows[] = {
      {0, false, false, 0, 0}, {0, false, false, 512, 512 / 1023.0},        {0, false, true, 512, 0.21449380614942534},
      {0, true, false, 95, 0}, {2, false, false, 512, 0.21449380614942534}, {0, true, false, 685, 1},
  };
  for (const auto& row : rows) {
    s.color_space = row.color_space;
    const img::lookup_table table = img::sample_table(s, row.cineon, row.srgb);
    EXPECT_FALSE(table.output_srgb1);
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(table.curves()[1024 * c + row.code], row.value, 1e-12) << row.code;
  }
  s.color_space = 0;
  s.lookup_table.set_1d(std::vector<double>(3072, 0.25), true);
  EXPECT_EQ(img::sample_table(s, true, true), s.lookup_table);
  s.color_space = 1;
  EXPECT_FALSE(img::sample_table(s, true, true).output_srgb1);
  EXPECT_EQ(img::sample_table(s, true, true).curves()[0], 0.25);
}

}  // namespace
