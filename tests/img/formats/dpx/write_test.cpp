#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "img/format.h"
#include "img/formats/dpx/files.h"
#include "img/formats/shared/film_codes.h"
#include "img/transfer.h"
#include "io/exceptions.h"
#include "support/temp_folder.h"

namespace {

film_files::bytes saved(const img::image& image) {
  const support::temp_folder folder;
  img::save(image, folder / "a.dpx", nullptr, {});
  return {support::read_file(folder / "a.dpx"), false};
}

std::uint32_t file_word(const film_files::bytes& file, int i) {
  return file.get(8192 + 4 * static_cast<std::size_t>(i), 4);
}

TEST(DpxWrite, HeaderSaysWhatTheStandardWants) {
  img::image image("BGR", 8, 3, 2);
  image.fill(0, 0, 0, 0);
  image.frame = 1017;
  image.frame_rate_nm = 24;
  image.frame_rate_dn = 1;
  image.timecode = {0x01020304, 0x11121314, 0, 1};
  image.keycode = {1, 2, 4, 5, 3, 4, 64};
  const film_files::bytes file = saved(image);
  ASSERT_EQ(file.data.size(), 8192u + 3 * 2 * 4);
  EXPECT_EQ(file.data.substr(0, 4), "XPDS");
  EXPECT_EQ(file.data.substr(8, 5), std::string("V2.0\0", 5));
  struct value {
    std::size_t offset;
    int count;
    std::uint32_t expected;
  };
  const value values[] = {
      {4, 4, 8192},          {16, 4, 8216},         {24, 4, 1664},         {28, 4, 384},          {768, 2, 0},
      {770, 2, 1},           {772, 4, 3},           {776, 4, 2},           {780, 4, 0},           {800, 1, 50},
      {803, 1, 10},          {804, 2, 1},           {806, 2, 0},           {808, 4, 8192},        {812, 4, 0},
      {1712, 4, 1017},       {1724, 4, 0x41C00000}, {1920, 4, 0x01020304}, {1924, 4, 0x11121314}, {660, 4, 0xFFFFFFFF},
      {1420, 4, 0xFFFFFFFF}, {2048, 4, 0xFFFFFFFF}, {8188, 4, 0xFFFFFFFF},
  };
  for (const value& v : values) EXPECT_EQ(file.get(v.offset, v.count), v.expected) << v.offset;
  EXPECT_EQ(file.data.substr(1664, 16), "0102030000040005");

  // A broken rate, and a second time code where the first leaves the user bits to it.
  image.frame_rate_nm = 30000;
  image.frame_rate_dn = 1001;
  image.timecode.user = 0xFFFFFFFF;
  image.timecode2 = {0x11121314, 0xFFFFFFFF, 0, 1};
  const img::image back = film_files::load(saved(image));
  EXPECT_EQ(back.frame_rate_nm, 30000);
  EXPECT_EQ(back.frame_rate_dn, 1001);
  EXPECT_EQ(back.timecode.user, 0x11121314u);
  EXPECT_EQ(back.timecode2, image.timecode2);
}

// By hand: sRGB byte 128 is 0.21586 linear, 0.22433 with the film's base, and -300 times its logarithm is 194.7. Floats
// are not cut.
TEST(DpxWrite, SamplesPassTheFilmCurve) {
  const std::uint8_t bytes[] = {0, 255, 128, 10, 200};
  const std::uint32_t byte_codes[] = {95, 685, 490, 127, 615};
  const float floats[] = {0, 1, 2, -0.002F, 0.18F};
  const std::uint32_t float_codes[] = {95, 685, 775, 69, 468};
  img::image image("BGR", 8, 5, 1);
  img::float_image unclamped;
  unclamped.reset(true, 5, 1);
  for (int x = 0; x < 5; ++x) {
    for (int c = 0; c < 3; ++c) {
      image.row(c, 0)[x] = bytes[(x + c) % 5];
      unclamped.data[static_cast<std::size_t>(c)][static_cast<std::size_t>(x)] = floats[(x + c) % 5];
    }
  }
  const support::temp_folder folder;
  img::find_format("a.dpx")->write_float(unclamped, folder / "a.dpx", {});
  const film_files::bytes of_floats{support::read_file(folder / "a.dpx"), false};
  const film_files::bytes of_bytes = saved(image);
  for (int x = 0; x < 5; ++x) {
    const auto packed = [&](const std::uint32_t(&codes)[5]) {
      return codes[(x + 2) % 5] << 22 | codes[(x + 1) % 5] << 12 | codes[x] << 2;
    };
    EXPECT_EQ(file_word(of_bytes, x), packed(byte_codes)) << x;
    EXPECT_EQ(file_word(of_floats, x), packed(float_codes)) << x;
  }
}

TEST(DpxWrite, EveryPixelFormGoesOut) {
  const auto code_of_half = [](double v) { return static_cast<std::uint32_t>(img::film_code(v)); };
  img::image half("BGRA", 16, 1, 1);
  const double values[] = {0.25, 1.0, 4.0, 0.5};
  for (int p = 0; p < 4; ++p) *half.row<std::uint16_t>(p, 0) = img::float_to_half(static_cast<float>(values[p]));
  EXPECT_EQ(file_word(saved(half), 0), code_of_half(4.0) << 22 | 685u << 12 | code_of_half(0.25) << 2);

  img::image gray("LA", 8, 1, 1);
  *gray.row(0, 0) = 255;
  *gray.row(1, 0) = 0;
  EXPECT_EQ(file_word(saved(gray), 0), 685u << 22 | 685u << 12 | 685u << 2);

  for (const char form : {'U', 'u', 'W'}) {
    img::image packed(std::string_view(&form, 1), 32, 1, 1);
    *packed.row<std::uint32_t>(0, 0) = form == 'U' ? __builtin_bswap32(0x12345678) : 0x12345678;
    EXPECT_EQ(file_word(saved(packed), 0), 0x12345678u) << form;
  }
  const support::temp_folder folder;
  EXPECT_THROW(img::save(img::image(), folder / "a.dpx", nullptr, {}), io::invalid_format);
  EXPECT_THROW(img::save(gray, folder / "missing" + std::string("/a.dpx"), nullptr, {}), io::open_error);
}

TEST(FilmCodes, TableAgreesWithTheCurve) {
  const img::film_code_table& table = img::film_code_table::get();
  const auto check = [&](std::uint32_t bits) {
    float value;
    std::memcpy(&value, &bits, 4);
    ASSERT_EQ(table(value), img::film_code(static_cast<double>(value))) << value << " bits " << bits;
  };
  std::mt19937 random(7);
  for (int i = 0; i < 300000; ++i) check(static_cast<std::uint32_t>(random()));
  for (std::uint32_t upper = 0; upper < 65536; ++upper) {
    check(upper << 16);
    check(upper << 16 | 0xFFFF);
  }
  for (int i = -2000; i < 16000; ++i) {
    const float value = static_cast<float>(i) / 1000.0F;
    EXPECT_EQ(table(value), img::film_code(static_cast<double>(value))) << value;
  }
}

}  // namespace
