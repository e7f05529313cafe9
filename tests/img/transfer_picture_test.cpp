// Whole pictures of every form through a transfer.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <vector>

#include "img/transfer.h"
#include "support/levels.h"
#include "support/pictures.h"

namespace {

using img::correction;
using img::image;

enum { blue, green, red };

image flat(std::string_view letters, int bits, const std::vector<std::uint32_t>& samples, int width = 5) {
  return support::flat_picture(letters, bits, samples, width, 3);
}

std::uint32_t half(double value) {
  return img::float_to_half(static_cast<float>(value));
}

// The bytes of a flat picture.
void expect_flat(const image& image, std::string_view letters, const std::vector<int>& bytes, const std::string& what) {
  ASSERT_EQ(support::letters_of(image), letters) << what;
  for (std::size_t p = 0; p < bytes.size(); ++p) {
    EXPECT_EQ(image.depth[p], 8) << what;
    for (const int sample : support::samples(image, static_cast<int>(p))) {
      ASSERT_EQ(sample, bytes[p]) << what << " plane " << p;
    }
  }
}

constexpr std::uint32_t word(std::uint32_t r, std::uint32_t g, std::uint32_t b) {
  return r << 22 | g << 12 | b << 2;
}

// A cube whose nodes are the values of `function` at red, green, blue from 0 to 1.
img::lookup_table cube_of(const std::function<std::array<double, 3>(double r, double g, double b)>& function,
                          bool srgb = true) {
  std::vector<std::uint16_t> nodes;
  for (int r = 0; r < 17; ++r) {
    for (int g = 0; g < 17; ++g) {
      for (int b = 0; b < 17; ++b) {
        const auto value = function(r / 16.0, g / 16.0, b / 16.0);
        for (int c = 2; c >= 0; --c) {
          nodes.push_back(static_cast<std::uint16_t>(std::rint((value[c] + 0.125) * 4096)));
        }
        nodes.push_back(0);
      }
    }
  }
  img::lookup_table table;
  table.set_3d(nodes, srgb);
  return table;
}

const img::lookup_table& swapping_cube() {
  static const img::lookup_table table = cube_of([](double r, double g, double b) {
    return std::array<double, 3>{b, 1 - g, r / 2};
  });
  return table;
}

correction with_table(img::lookup_table table) {
  correction s;
  s.lookup_table = std::move(table);
  return s;
}

TEST(transfer_picture, default_settings_leave_8_bit_pixels) {
  image in = support::random_picture("BGRAZ", 7, 3);
  in.path = "/a/b.tga";
  in.metadata["x"] = "y";
  in.hint[3].assign(3, {1, 2});
  image out, applied = in;
  img::transfer plain;
  plain.convert(out, in);
  EXPECT_EQ(support::differing_plane(out, in), -1);
  EXPECT_TRUE(static_cast<img::image_info&>(out) == in);
  EXPECT_EQ(out.hint[3], in.hint[3]);
  plain.apply(applied);
  EXPECT_EQ(support::differing_plane(applied, in), -1);
  for (int c = 0; c < 3; ++c) EXPECT_EQ(plain.byte_table(c), nullptr);
}

// Each channel has its own table and alpha none; gray keeps its planes and knows no saturation.
TEST(transfer_picture, forms_and_channels) {
  correction linear;
  linear.color_space = 1;
  linear.exposure = {0, 100, -100};
  correction without_color;
  without_color.saturation.fill(0);
  correction linear_gray = without_color;
  linear_gray.color_space = 1;
  const double infinite = std::numeric_limits<double>::infinity();
  auto halves = [](double value) { return flat("BGRA", 16, std::vector(4, half(value))); };
  const struct {
    const char* what;
    correction settings;
    image in;
    const char* letters;
    std::vector<int> bytes;
  } rows[] = {
      // 128 / 255 and its double and half, encoded: 0.7367, above 1, 0.5384.
      {"bytes", linear, flat("BGRA", 8, {128, 128, 128, 128}), "BGRA", {188, 255, 137, 128}},
      {"halves", {}, halves(0.5), "BGRA", {188, 188, 188, 127}},
      {"halves below 0", {}, halves(-1), "BGRA", {0, 0, 0, 0}},
      {"infinite halves", {}, halves(infinite), "BGRA", {255, 255, 255, 255}},
      {"not a number", {}, halves(std::nan("")), "BGRA", {0, 0, 0, 0}},
      {"gray halves", without_color, flat("LA", 16, {half(0.5), half(0.5)}), "LA", {188, 127}},
      {"gray bytes", linear_gray, flat("LA", 8, {128, 128}), "LA", {188, 128}},
  };
  for (const auto& row : rows) {
    image out, applied = row.in;
    img::transfer transfer(row.settings);
    transfer.convert(out, row.in);
    expect_flat(out, row.letters, row.bytes, row.what);
    transfer.apply(applied);
    expect_flat(applied, row.letters, row.bytes, std::string(row.what) + " in place");
  }
  EXPECT_EQ(img::transfer(linear).byte_table(red)[128], 137);
}

TEST(transfer_picture, packed_words) {
  correction s;
  s.exposure[green] = 100;  // 0.1493 becomes 0.2986, encoded 0.5831
  const std::uint32_t samples = word(685, 445, 95);
  for (const char form : {'u', 'U', 'W', 'V'}) {
    image in = flat(std::string_view(&form, 1), 32, {form == 'U' ? __builtin_bswap32(samples) : samples});
    in.set_plane(1, 'A', 8);
    img::fill_plane(in.data[1], 77);
    in.hint[1].assign(3, {0, 4});
    image out;
    img::transfer(s).convert(out, in);
    expect_flat(out, "BGRA", {0, 149, 255, 77}, {form});
    EXPECT_EQ(out.hint[3], in.hint[1]);
    img::transfer(s).apply(in);
    EXPECT_EQ(support::differing_plane(in, out), -1) << form;
  }
}

// Curves: red i / 1023, green its square, blue 1 - it; the table says whether that is sRGB.
TEST(transfer_picture, curves_of_every_form) {
  std::vector<double> values(3072);
  for (int i = 0; i < 1024; ++i) {
    const double v = i / 1023.0;
    values[i] = v;
    values[1024 + i] = v * v;
    values[2048 + i] = 1 - v;
  }
  const image words = flat("u", 32, {word(700, 700, 700)});
  const struct {
    const char* what;
    image in;
    double value;
  } rows[] = {
      {"bytes", flat("BGR", 8, {100, 100, 100}), 401 / 1023.0},  // 100 / 255 * 1023 is 401.18
      {"halves", flat("BGR", 16, std::vector(3, half(0.75))), 0.75},
      {"codes", words, 700 / 1023.0},
      {"codes by their linear index", flat("V", 32, {word(445, 445, 445)}), 153 / 1023.0},
      // The two forms of words share a table, which must follow the picture.
      {"codes again", words, 700 / 1023.0},
  };
  for (const bool srgb : {true, false}) {
    img::lookup_table table;
    table.set_1d(values, srgb);
    img::transfer transfer(with_table(table));
    auto byte_of = [&](double v) { return static_cast<int>((srgb ? v : img::srgb_encode(v)) * 255.99); };
    for (const auto& row : rows) {
      image out;
      transfer.convert(out, row.in);
      const double v = row.value;
      expect_flat(out, "BGR", {byte_of(1 - v), byte_of(v * v), byte_of(v)}, row.what);
    }
  }
}

TEST(transfer_picture, matrix_rounds_the_tail_of_each_row) {
  correction s;
  s.saturation.fill(0);
  for (const int width : {1, 3, 4, 6, 8, 71}) {
    image in = flat("BGRA", 8, {50, 100, 192, 0}, width);
    image out;
    img::transfer transfer(s);
    transfer.convert(out, in);
    for (int c = 0; c < 3; ++c) {
      for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < width; ++x) {
          // 40 + 71 + 3 in the bulk; in the tail (10368 + 18300 + 900) / 256, which is 115.5
          ASSERT_EQ(out.row(c, y)[x], x < width / 4 * 4 ? 114 : 116) << width << " at " << x << "," << y;
        }
      }
    }
  }
}

TEST(transfer_picture, matrix_comes_behind_the_tables_in_every_form) {
  correction s;
  s.color_space = 2;
  s.saturation.fill(0);
  for (const image& in : {flat("u", 32, {word(685, 95, 95)}, 8), flat("BGR", 16, {0, 0, half(1)}, 8)}) {
    image out;
    img::transfer(s).convert(out, in);
    expect_flat(out, "BGR", std::vector(3, 255 * 54 >> 8), support::letters_of(in));
  }
  for (const int saturation : {100000, -100000, 2147483647}) {
    s.saturation.fill(saturation);
    image out;
    img::transfer(s).convert(out, flat("BGR", 8, {0, 0, 0}));
    expect_flat(out, "BGR", {0, 0, 0}, "black stays black");
  }
}

// Red and blue change places, blue halved, green complemented.
TEST(transfer_picture, cube_of_every_form) {
  const struct {
    const char* what;
    image in;
    std::vector<int> bytes;
  } rows[] = {
      // Index 1023 is 1023 / 1024 of the way; 64 is 257 / 1024, 128 is 514 / 1024, which is 0.50195.
      {"bytes", flat("BGRA", 8, {255, 64, 128, 9}, 9), {64, 191, 255, 9}},
      {"gray", flat("LA", 8, {128, 9}, 9), {64, 127, 128, 9}},
      {"halves", flat("BGR", 16, {half(5), half(-1), half(0.25)}, 9), {31, 255, 255}},
      {"words", flat("U", 32, {__builtin_bswap32(word(445, 95, 1000))}, 9), {19, 255, 255}},  // 153, 0, 1023
  };
  for (const auto& row : rows) {
    img::transfer transfer(with_table(swapping_cube()));
    image out, cached, from_cached, applied = row.in;
    const char* letters = row.bytes.size() == 4 ? "BGRA" : "BGR";
    transfer.convert(out, row.in);
    expect_flat(out, letters, row.bytes, row.what);
    transfer.apply(applied);
    EXPECT_EQ(support::differing_plane(applied, out), -1) << row.what;
    img::apply_cube(cached, row.in, swapping_cube());
    transfer.convert(from_cached, cached, true);
    ASSERT_EQ(support::letters_of(from_cached), letters) << row.what;
    for (int c = 0; c < 3; ++c) {
      EXPECT_NEAR(*from_cached.row(c, 0), row.bytes[c], row.in.is_packed() ? 2 : 1) << row.what << " channel " << c;
    }
    if (row.bytes.size() == 4) {
      EXPECT_EQ(from_cached.data[3], out.data[3]) << row.what;
    }
  }
}

TEST(transfer_picture, cached_cube_results) {
  const img::lookup_table table = cube_of([](double, double, double) { return std::array<double, 3>{1, 0.5, -0.125}; });
  image out;
  img::apply_cube(out, flat("u", 32, {word(445, 95, 685)}), table);
  EXPECT_EQ(out.format[0], 'W');
  EXPECT_EQ(out.depth[0], 32);
  EXPECT_EQ(out.row<std::uint32_t>(0, 2)[4], word(685, 597, 0));

  image bytes = flat("BGR", 8, {0, 0, 0});
  bytes.set_plane(4, 'Z', 8);
  img::fill_plane(bytes.data[4], 5);
  bytes.path = "p";
  img::apply_cube(out, bytes, table);
  EXPECT_EQ(support::letters_of(out), "BGR.Z");
  EXPECT_EQ(out.depth[0], 16);
  const std::uint16_t expected[] = {0xB000, 0x3800, 0x3C00};
  for (int c = 0; c < 3; ++c) EXPECT_EQ(out.row<std::uint16_t>(c, 2)[4], expected[c]) << c;
  EXPECT_EQ(out.data[4], bytes.data[4]);
  EXPECT_EQ(out.path, "p");
}

TEST(transfer_picture, adjustment_rows_match_whole_pictures) {
  correction curves;
  curves.gamma = {90, 100, 140};
  curves.hue = {10, 10, -20};
  correction cube = with_table(swapping_cube());
  cube.exposure.fill(30);
  cube.saturation.fill(130);
  for (const correction& s : {correction{}, curves, cube}) {
    for (const int width : {1, 3, 64, 517, 1030}) {
      image in = support::random_picture("BGR", width, 2);
      image whole = in;
      img::transfer transfer(s);
      transfer.apply(whole);
      transfer.prepare_rows();
      for (int y = 0; y < 2; ++y) transfer.apply_row(in.row(0, y), in.row(1, y), in.row(2, y), width);
      EXPECT_EQ(support::differing_plane(in, whole), -1) << width;
    }
  }
}

TEST(transfer_picture, same_pixels_with_any_threads_and_level) {
  correction s = with_table(swapping_cube());
  s.saturation = {140, 90, 120};
  correction curves;
  curves.gamma.fill(80);
  curves.hue.fill(30);
  const std::pair<const char*, int> forms[] = {{"BGRA", 8}, {"BGRA", 16}, {"U", 32}, {"LA", 16}};
  for (const auto& form : forms) {
    for (const correction& settings : {s, curves}) {
      image in(form.first, form.second, 133, 67);
      // Halves stay below 2, since a float that is no number equals nothing.
      for (img::plane& plane : in.data) {
        for (std::size_t i = 0; i < plane.size(); ++i) plane.data()[i] = (i * i * 2654435761u >> 13) & 0xBF;
      }
      image reference;
      img::float_image float_reference;
      support::every_thread_count([&](int threads) {
        support::every_level([&](const char* level) {
          image out;
          img::float_image floats;
          img::transfer(settings).convert(out, in);
          img::transfer(settings).convert_float(floats, in, true);
          if (reference.empty()) {
            reference.swap(out);
            std::swap(float_reference, floats);
            return;
          }
          EXPECT_EQ(support::differing_plane(out, reference), -1) << form.first << threads << level;
          EXPECT_EQ(floats.data, float_reference.data) << form.first << threads << level;
        });
      });
    }
  }
}

TEST(transfer_picture, floats) {
  correction apart;
  apart.exposure = {0, 100, 200};
  // Half of the way in sRGB is 0.2140 in linear light.
  const correction cube = with_table(cube_of([](double, double, double) { return std::array<double, 3>{1, 0.5, 0}; }));
  const image halves = flat("BGRA", 16, std::vector(4, half(-7.5)));
  image cached;
  img::apply_cube(cached, halves, cube.lookup_table);
  const struct {
    const char* what;
    correction settings;
    image in;
    std::vector<float> expected;  // blue, green, red and maybe alpha
    bool cube_applied;
  } rows[] = {
      {"bytes", {}, flat("BGRA", 8, {51, 0, 255, 51}), {0.033104767f, 0, 1, 0.2f}, false},
      {"halves", apart, halves, {-7.5, -15, -30, -7.5}, false},
      {"words", apart, flat("U", 32, {__builtin_bswap32(word(1023, 685, 445))}), {0.14930371f, 2, 54.086778f}, false},
      {"gray", {}, flat("LA", 8, {255, 51}), {1, 1, 1, 0.2f}, false},
      {"bytes through a cube", cube, flat("BGR", 8, {9, 9, 9}), {0, 0.21404114f, 1}, false},
      {"halves through a cube", cube, halves, {0, 0.21404114f, 1, -7.5}, false},
      {"words through a cube", cube, flat("U", 32, {0}), {0, 0.21404114f, 1}, false},
      {"gray through a cube", cube, flat("LA", 8, {255, 51}), {0, 0.21404114f, 1, 0.2f}, false},
      {"a cube's result", cube, cached, {0, 0.21404114f, 1, -7.5}, true},
  };
  for (const auto& row : rows) {
    img::float_image out;
    image in = row.in;
    in.frame = 12;
    img::transfer(row.settings).convert_float(out, in, false, row.cube_applied);
    EXPECT_EQ(out.frame, 12);
    EXPECT_EQ(out.data[3].empty(), row.expected.size() == 3) << row.what;
    for (std::size_t c = 0; c < row.expected.size(); ++c) {
      EXPECT_FLOAT_EQ(out.data[c].front(), row.expected[c]) << row.what << " " << c;
      EXPECT_FLOAT_EQ(out.data[c].back(), row.expected[c]) << row.what << " " << c;
    }
  }
}

TEST(transfer_picture, float_matrix_in_linear_light_or_encoded) {
  correction s;
  s.saturation.fill(0);
  img::float_image out;
  img::transfer(s).convert_float(out, flat("BGR", 16, {0, half(-2), half(0.5)}), false);
  for (int c = 0; c < 3; ++c) EXPECT_NEAR(out.data[c][0], 0.2126 * 0.5 - 0.7152 * 2, 1e-6);
  img::transfer(s).convert_float(out, flat("BGR", 16, {0, 0, half(0.5)}), true);
  // 0.2126 of the encoded 0.7353570 is 0.1563369, decoded 0.0211
  for (int c = 0; c < 3; ++c) EXPECT_NEAR(out.data[c][0], img::srgb_decode(0.2126 * 0.7353569830524495), 1e-6);
}

TEST(transfer_picture, settings_can_change) {
  const image in = flat("BGR", 8, {128, 128, 128});
  auto byte_of = [&](img::transfer& transfer) {
    image out;
    transfer.convert(out, in);
    return int{*out.row(0, 0)};
  };
  correction s;
  s.color_space = 1;
  img::transfer transfer(s);
  EXPECT_EQ(byte_of(transfer), 188);
  s.exposure.fill(-100);
  transfer.prepare(s);
  EXPECT_EQ(byte_of(transfer), 137);
  img::transfer copy = transfer;
  transfer.prepare({});
  EXPECT_EQ(byte_of(copy), 137);
  copy = std::move(transfer);
  EXPECT_EQ(byte_of(copy), 128);
  transfer.prepare(s);  // a moved-from transfer can be used again
  EXPECT_EQ(byte_of(transfer), 137);
}

TEST(transfer_picture, empty_pictures_stay_empty) {
  image in, out = flat("BGR", 8, {0, 0, 0});
  in.path = "p";
  img::transfer transfer(with_table(swapping_cube()));
  transfer.apply(in);
  EXPECT_TRUE(in.empty());
  transfer.convert(out, in);
  EXPECT_TRUE(out.empty());
  EXPECT_EQ(out.path, "p");
  img::float_image floats;
  transfer.convert_float(floats, in, false);
  EXPECT_EQ(floats.width, 0);
  img::apply_cube(out, in, swapping_cube());
  EXPECT_TRUE(out.empty());
}

}  // namespace
