// Whole pictures of every form through a transfer.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <random>
#include <vector>

#include "img/simd_level.h"
#include "img/transfer.h"
#include "img/transfer_tables.h"
#include "lib/parallel.h"

namespace {

using img::correction;
using img::image;

enum { blue, green, red };

image picture(const char* letters, int bits, int width, int height) {
  image out(letters, bits, width, height);
  for (int i = 0; i < image::max_planes; ++i) {
    if (out.has_plane(i)) std::memset(out.data[i].data(), 0, out.data[i].size());
  }
  return out;
}

void fill_noise(image& image, unsigned seed) {
  std::mt19937 random(seed);
  for (img::plane& plane : image.data) {
    for (std::size_t i = 0; i < plane.size(); ++i) plane.data()[i] = static_cast<std::uint8_t>(random());
  }
}

std::string letters_of(const image& image) {
  std::string out;
  for (const char letter : image.format) out += letter ? letter : '.';
  return out;
}

void expect_same_pixels(const image& a, const image& b, const std::string& what) {
  EXPECT_EQ(letters_of(a), letters_of(b)) << what;
  EXPECT_EQ(a.depth, b.depth) << what;
  for (int i = 0; i < image::max_planes; ++i) EXPECT_TRUE(a.data[i] == b.data[i]) << what << " plane " << i;
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
  image in = picture("BGRAZ", 8, 7, 3);
  fill_noise(in, 1);
  in.path = "/a/b.tga";
  in.metadata["x"] = "y";
  in.hint[3].assign(3, {1, 2});
  image out, applied = in;
  img::transfer plain;
  plain.convert(out, in);
  expect_same_pixels(out, in, "convert");
  EXPECT_TRUE(static_cast<img::image_info&>(out) == in);
  EXPECT_EQ(out.hint[3], in.hint[3]);
  plain.apply(applied);
  expect_same_pixels(applied, in, "apply");
  for (int c = 0; c < 3; ++c) EXPECT_EQ(plain.byte_table(c), nullptr);
}

TEST(transfer_picture, each_channel_has_its_own_table_and_alpha_none) {
  correction s;
  s.color_space = 1;
  s.exposure = {0, 100, -100};
  image in = picture("BGRA", 8, 5, 2);
  for (int i = 0; i < 4; ++i) std::memset(in.data[i].data(), 128, 10);
  img::transfer transfer(s);
  image out;
  transfer.convert(out, in);
  // 128 / 255 and its double and half, encoded: 0.7367, above 1, 0.5384.
  EXPECT_EQ(*out.row(blue, 0), 188);
  EXPECT_EQ(*out.row(green, 1), 255);
  EXPECT_EQ(*out.row(red, 1), 137);
  EXPECT_EQ(*out.row(3, 1), 128);
  EXPECT_EQ(transfer.byte_table(red)[128], 137);
  transfer.apply(in);
  expect_same_pixels(in, out, "in place");
}

TEST(transfer_picture, halves) {
  image in = picture("BGRA", 16, 4, 1);
  const std::uint16_t samples[4] = {0x3800, 0xBC00, 0x7C00, 0x7E00};  // 0.5, -1, infinity, not a number
  for (int i = 0; i < 4; ++i) std::memcpy(in.data[i].data(), samples, sizeof samples);
  image out;
  img::transfer().convert(out, in);
  EXPECT_EQ(letters_of(out), "BGRA....");
  EXPECT_EQ(out.depth[0], 8);
  EXPECT_EQ(out.depth[3], 8);
  const std::uint8_t color[4] = {188, 0, 255, 0}, alpha[4] = {127, 0, 255, 0};
  EXPECT_EQ(std::memcmp(out.data[red].data(), color, 4), 0);
  EXPECT_EQ(std::memcmp(out.data[3].data(), alpha, 4), 0);

  img::transfer().apply(in);
  expect_same_pixels(in, out, "in place");
}

TEST(transfer_picture, gray_keeps_its_planes) {
  image in = picture("LA", 16, 3, 1);
  for (int i = 0; i < 2; ++i) std::fill_n(in.row<std::uint16_t>(i, 0), 3, 0x3800);
  correction s;
  s.saturation.fill(0);
  image out;
  img::transfer(s).convert(out, in);
  EXPECT_EQ(letters_of(out), "LA......");
  EXPECT_EQ(*out.row(0, 0), 188);
  EXPECT_EQ(*out.row(1, 0), 127);

  image bytes = picture("LA", 8, 3, 1);
  std::memset(bytes.data[0].data(), 128, 3);
  std::memset(bytes.data[1].data(), 128, 3);
  s.color_space = 1;
  img::transfer(s).apply(bytes);
  EXPECT_EQ(*bytes.row(0, 0), 188);
  EXPECT_EQ(*bytes.row(1, 0), 128);
}

TEST(transfer_picture, packed_words) {
  correction s;
  s.exposure[green] = 100;  // 0.1493 becomes 0.2986
  const struct {
    char form;
    std::uint32_t word;
  } rows[] = {{'u', word(685, 445, 95)},
              {'U', __builtin_bswap32(word(685, 445, 95))},
              {'W', word(685, 445, 95)},
              {'V', word(685, 445, 95)}};
  for (const auto& row : rows) {
    image in = picture(std::string{row.form}.c_str(), 32, 5, 3);
    in.set_plane(1, 'A', 8);
    for (int y = 0; y < 3; ++y) std::fill_n(in.row<std::uint32_t>(0, y), 5, row.word);
    std::memset(in.data[1].data(), 77, 15);
    in.hint[1].assign(3, {0, 4});
    image out;
    img::transfer(s).convert(out, in);
    EXPECT_EQ(letters_of(out), "BGRA....") << row.form;
    EXPECT_EQ(out.row(blue, 2)[4], 0) << row.form;
    EXPECT_EQ(out.row(green, 2)[4], 149) << row.form;  // 0.2986 encoded is 0.5831
    EXPECT_EQ(out.row(red, 2)[4], 255) << row.form;
    EXPECT_EQ(out.row(3, 2)[4], 77) << row.form;
    EXPECT_EQ(out.hint[3], in.hint[1]);
    img::transfer(s).apply(in);
    expect_same_pixels(in, out, "in place");
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
  auto byte_of = [](double v) { return static_cast<int>(v * 255.99); };
  for (const bool srgb : {true, false}) {
    img::lookup_table table;
    table.set_1d(values, srgb);
    img::transfer transfer(with_table(table));
    auto check = [&](const image& in, double v, const char* what) {
      image out;
      transfer.convert(out, in);
      const double expected[3] = {1 - v, v * v, v};
      for (int c = 0; c < 3; ++c) {
        EXPECT_NEAR(*out.row(c, 0), byte_of(srgb ? expected[c] : img::srgb_encode(expected[c])), 1e-9)
            << what << " channel " << c << (srgb ? " sRGB" : " linear");
      }
    };
    image bytes = picture("BGR", 8, 1, 1);
    for (int c = 0; c < 3; ++c) *bytes.row(c, 0) = 100;
    check(bytes, 401 / 1023.0, "bytes");  // 100 / 255 * 1023 is 401.18
    image halves = picture("BGR", 16, 1, 1);
    for (int c = 0; c < 3; ++c) *halves.row<std::uint16_t>(c, 0) = img::float_to_half(0.75f);
    check(halves, 0.75, "halves");
    image words = picture("u", 32, 1, 1);
    *words.row<std::uint32_t>(0, 0) = word(700, 700, 700);
    check(words, 700 / 1023.0, "codes");
    image linear_words = picture("V", 32, 1, 1);
    *linear_words.row<std::uint32_t>(0, 0) = word(445, 445, 445);
    check(linear_words, 153 / 1023.0, "codes by their linear index");
    // The two forms of words share a table, which must follow the picture.
    check(words, 700 / 1023.0, "codes again");
  }
}

TEST(transfer_picture, matrix_rounds_the_tail_of_each_row) {
  correction s;
  s.saturation.fill(0);
  const struct {
    int width;
    int bulk;
  } rows[] = {{1, 0}, {3, 0}, {4, 4}, {6, 4}, {8, 8}, {71, 68}};
  for (const auto& row : rows) {
    image in = picture("BGRA", 8, row.width, 3);
    std::memset(in.data[blue].data(), 50, in.data[0].size());
    std::memset(in.data[green].data(), 100, in.data[0].size());
    std::memset(in.data[red].data(), 200, in.data[0].size());
    image out;
    img::transfer transfer(s);
    transfer.convert(out, in);
    for (int c = 0; c < 3; ++c) {
      for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < row.width; ++x) {
          // 42 + 71 + 3 in the bulk, (10800 + 18300 + 900 + 128) >> 8 in the tail
          ASSERT_EQ(out.row(c, y)[x], x < row.bulk ? 116 : 117) << row.width << " at " << x << "," << y;
        }
      }
    }
    transfer.prepare_rows();
    transfer.apply_row(in.row(blue, 1), in.row(green, 1), in.row(red, 1), row.width);
    for (int c = 0; c < 3; ++c) EXPECT_EQ(std::memcmp(in.row(c, 1), out.row(c, 1), row.width), 0);
  }
}

TEST(transfer_picture, matrix_comes_behind_the_tables_in_every_form) {
  correction s;
  s.color_space = 2;
  s.saturation.fill(0);
  image words = picture("u", 32, 8, 2), halves = picture("BGR", 16, 8, 2), out;
  const double white = 1;
  for (int y = 0; y < 2; ++y) {
    std::fill_n(words.row<std::uint32_t>(0, y), 8, word(685, 95, 95));
    std::fill_n(halves.row<std::uint16_t>(red, y), 8, img::float_to_half(static_cast<float>(white)));
  }
  for (const image* in : {&words, &halves}) {
    img::transfer(s).convert(out, *in);
    for (int c = 0; c < 3; ++c) EXPECT_EQ(out.row(c, 1)[0], 255 * 54 >> 8);
  }
}

TEST(transfer_picture, extreme_saturation_stays_gray_on_gray) {
  correction s;
  for (const int saturation : {100000, -100000, 2147483647}) {
    s.saturation.fill(saturation);
    image in = picture("BGR", 8, 7, 1);
    for (int c = 0; c < 3; ++c) std::memset(in.data[c].data(), 0, 7);
    image out;
    img::transfer(s).convert(out, in);
    for (int c = 0; c < 3; ++c) EXPECT_EQ(out.row(c, 0)[3], 0) << saturation;
  }
}

// Red and blue change places, blue halved, green complemented.
TEST(transfer_picture, cube_of_every_form) {
  auto check = [](const image& in, std::array<int, 3> expected, const char* letters, const char* what) {
    img::transfer transfer(with_table(swapping_cube()));
    image out, cached, from_cached, applied = in;
    transfer.convert(out, in);
    EXPECT_EQ(letters_of(out), letters) << what;
    for (int c = 0; c < 3; ++c) EXPECT_EQ(*out.row(c, 0), expected[c]) << what << " channel " << c;
    transfer.apply(applied);
    expect_same_pixels(applied, out, what);
    img::apply_cube(cached, in, swapping_cube());
    transfer.convert(from_cached, cached, true);
    EXPECT_EQ(letters_of(from_cached), letters) << what;
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(*from_cached.row(c, 0), expected[c], in.is_packed() ? 2 : 1) << what;
    if (in.has_plane(3)) {
      EXPECT_TRUE(cached.data[3] == in.data[3]) << what;
      EXPECT_TRUE(from_cached.data[3] == in.data[3]) << what;
    }
  };
  image bytes = picture("BGRA", 8, 9, 3);
  for (int i = 0; i < 27; ++i) {
    bytes.data[blue].data()[i] = 255;  // index 1023: 1023 / 1024 of the way
    bytes.data[green].data()[i] = 64;  // 257 / 1024
    bytes.data[red].data()[i] = 128;   // 514 / 1024, which is 0.50195
    bytes.data[3].data()[i] = 9;
  }
  check(bytes, {64, 191, 255}, "BGRA....", "bytes");

  image gray = picture("LA", 8, 9, 3);
  std::memset(gray.data[0].data(), 128, 27);
  std::memset(gray.data[1].data(), 9, 27);
  check(gray, {64, 127, 128}, "BGRA....", "gray");

  image halves = picture("BGR", 16, 9, 3);
  for (int y = 0; y < 3; ++y) {
    std::fill_n(halves.row<std::uint16_t>(blue, y), 9, img::float_to_half(5.f));
    std::fill_n(halves.row<std::uint16_t>(green, y), 9, img::float_to_half(-1.f));
    std::fill_n(halves.row<std::uint16_t>(red, y), 9, img::float_to_half(0.25f));  // index 256
  }
  check(halves, {31, 255, 255}, "BGR.....", "halves");

  image words = picture("U", 32, 9, 3);
  for (int y = 0; y < 3; ++y) {
    std::fill_n(words.row<std::uint32_t>(0, y), 9, __builtin_bswap32(word(445, 95, 1000)));  // indexes 153, 0, 1023
  }
  check(words, {19, 255, 255}, "BGR.....", "words");
}

TEST(transfer_picture, cached_cube_results) {
  image words = picture("u", 32, 1, 1), out;
  *words.row<std::uint32_t>(0, 0) = word(445, 95, 685);
  img::apply_cube(out, words, cube_of([](double, double, double) { return std::array<double, 3>{1, 0.5, 0}; }));
  EXPECT_EQ(out.format[0], 'W');
  EXPECT_EQ(out.depth[0], 32);
  EXPECT_EQ(*out.row<std::uint32_t>(0, 0), word(685, 597, 95));

  image bytes = picture("BGR", 8, 2, 2);
  bytes.set_plane(4, 'Z', 8);
  std::memset(bytes.data[4].data(), 5, 4);
  bytes.path = "p";
  img::apply_cube(out, bytes, cube_of([](double, double, double) { return std::array<double, 3>{1, 0.5, -0.125}; }));
  EXPECT_EQ(letters_of(out), "BGR.Z...");
  EXPECT_EQ(out.depth[0], 16);
  EXPECT_EQ(out.row<std::uint16_t>(red, 1)[1], 0x3C00);
  EXPECT_EQ(out.row<std::uint16_t>(green, 1)[1], 0x3800);
  EXPECT_EQ(out.row<std::uint16_t>(blue, 1)[1], 0xB000);
  EXPECT_EQ(out.row(4, 1)[1], 5);
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
      image in = picture("BGR", 8, width, 2);
      fill_noise(in, 7);
      image whole = in;
      img::transfer transfer(s);
      transfer.apply(whole);
      transfer.prepare_rows();
      for (int y = 0; y < 2; ++y) transfer.apply_row(in.row(0, y), in.row(1, y), in.row(2, y), width);
      expect_same_pixels(in, whole, std::to_string(width));
    }
  }
}

TEST(transfer_picture, same_pixels_with_any_threads_and_level) {
  const img::simd_level best = img::current_simd_level();
  correction s = with_table(swapping_cube());
  s.saturation = {140, 90, 120};
  correction curves;
  curves.gamma.fill(80);
  curves.hue.fill(30);
  const struct {
    const char* letters;
    int bits;
  } forms[] = {{"BGRA", 8}, {"BGRA", 16}, {"U", 32}, {"LA", 16}};
  for (const auto& form : forms) {
    for (const correction& settings : {s, curves}) {
      image in(form.letters, form.bits, 133, 67);
      fill_noise(in, 3);
      image reference, out;
      img::float_image float_reference, float_out;
      lib::set_thread_count(1);
      img::pin_simd_level(img::simd_level::baseline);
      img::transfer(settings).convert(reference, in);
      img::transfer(settings).convert_float(float_reference, in, true);
      for (const int threads : {1, 2, 7}) {
        for (int level = 0; level <= static_cast<int>(best); ++level) {
          lib::set_thread_count(threads);
          img::pin_simd_level(static_cast<img::simd_level>(level));
          img::transfer(settings).convert(out, in);
          expect_same_pixels(out, reference, form.letters);
          img::transfer(settings).convert_float(float_out, in, true);
          for (int i = 0; i < 4; ++i) {
            const std::vector<float>&got = float_out.data[i], &expected = float_reference.data[i];
            ASSERT_EQ(got.size(), expected.size());
            if (got.empty()) continue;
            EXPECT_EQ(std::memcmp(got.data(), expected.data(), got.size() * sizeof(float)), 0) << form.letters;
          }
        }
      }
    }
  }
  lib::set_thread_count(0);
  img::pin_simd_level(best);
}

TEST(transfer_picture, floats) {
  img::float_image out;
  image bytes = picture("BGRA", 8, 2, 1);
  bytes.frame = 12;
  for (int i = 0; i < 4; ++i) bytes.row(i, 0)[1] = 51;
  img::transfer().convert_float(out, bytes, false);
  EXPECT_FLOAT_EQ(out.data[red][1], 0.033104767f);  // 0.2 decoded
  EXPECT_FLOAT_EQ(out.data[3][1], 0.2f);
  EXPECT_EQ(out.frame, 12);

  image halves = picture("BGRA", 16, 1, 1);
  for (int i = 0; i < 4; ++i) *halves.row<std::uint16_t>(i, 0) = img::float_to_half(-7.5f);
  correction s;
  s.exposure.fill(100);
  img::transfer(s).convert_float(out, halves, false);
  EXPECT_EQ(out.data[green][0], -15);
  EXPECT_EQ(out.data[3][0], -7.5);

  image words = picture("U", 32, 1, 1);
  *words.row<std::uint32_t>(0, 0) = __builtin_bswap32(word(1023, 685, 95));
  img::transfer().convert_float(out, words, false);
  EXPECT_EQ(out.data[blue][0], 0);
  EXPECT_FLOAT_EQ(out.data[green][0], 1);
  EXPECT_FLOAT_EQ(out.data[red][0], 13.521694568553716f);
  EXPECT_TRUE(out.data[3].empty());

  image gray = picture("LA", 8, 1, 1);
  *gray.row(0, 0) = 255;
  *gray.row(1, 0) = 51;
  img::transfer().convert_float(out, gray, false);
  for (int c = 0; c < 3; ++c) EXPECT_FLOAT_EQ(out.data[c][0], 1);
  EXPECT_FLOAT_EQ(out.data[3][0], 0.2f);

  // Half of the way in sRGB is 0.2140 in linear light.
  correction cube = with_table(cube_of([](double, double, double) { return std::array<double, 3>{1, 0.5, 0}; }));
  for (const image* in : {&bytes, &halves, &words, &gray}) {
    img::transfer(cube).convert_float(out, *in, false);
    EXPECT_FLOAT_EQ(out.data[red][0], 1);
    EXPECT_FLOAT_EQ(out.data[green][0], 0.21404114f);
    EXPECT_EQ(out.data[blue][0], 0);
  }
  image cached;
  img::apply_cube(cached, halves, cube.lookup_table);
  img::transfer(cube).convert_float(out, cached, false, true);
  EXPECT_FLOAT_EQ(out.data[green][0], 0.21404114f);
}

TEST(transfer_picture, float_matrix_in_linear_light_or_encoded) {
  correction s;
  s.saturation.fill(0);
  image in = picture("BGR", 16, 1, 1);
  *in.row<std::uint16_t>(red, 0) = img::float_to_half(0.5f);
  *in.row<std::uint16_t>(green, 0) = img::float_to_half(-2.f);
  img::float_image out;
  img::transfer(s).convert_float(out, in, false);
  for (int c = 0; c < 3; ++c) EXPECT_NEAR(out.data[c][0], 0.2126 * 0.5 - 0.7152 * 2, 1e-6);
  *in.row<std::uint16_t>(green, 0) = 0;
  img::transfer(s).convert_float(out, in, true);
  // 0.2126 of the encoded 0.7353570 is 0.1563369, decoded 0.0211
  for (int c = 0; c < 3; ++c) EXPECT_NEAR(out.data[c][0], img::srgb_decode(0.2126 * 0.7353569830524495), 1e-6);
}

TEST(transfer_picture, settings_can_change) {
  image in = picture("BGR", 8, 4, 1);
  for (int c = 0; c < 3; ++c) std::memset(in.data[c].data(), 128, 4);
  correction s;
  s.color_space = 1;
  img::transfer transfer(s);
  image out;
  transfer.convert(out, in);
  EXPECT_EQ(*out.row(0, 0), 188);
  s.exposure.fill(-100);
  transfer.prepare(s);
  transfer.convert(out, in);
  EXPECT_EQ(*out.row(0, 0), 137);
  img::transfer copy = transfer;
  transfer.prepare({});
  copy.convert(out, in);
  EXPECT_EQ(*out.row(0, 0), 137);
  copy = std::move(transfer);
  copy.convert(out, in);
  EXPECT_EQ(*out.row(0, 0), 128);
  transfer.prepare(s);  // a moved-from transfer can be used again
  transfer.convert(out, in);
  EXPECT_EQ(*out.row(0, 0), 137);
}

TEST(transfer_picture, empty_pictures_stay_empty) {
  image in, out = picture("BGR", 8, 2, 2);
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
