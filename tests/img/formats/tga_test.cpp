#include <cstring>

#include "img/formats/raster_files.h"
#include "support/levels.h"
#include "support/pictures.h"

namespace {

using raster_files::bytes;
using raster_files::samples;

struct header {
  int type = 2;
  int width = 1;
  int height = 1;
  int bits = 24;
  int descriptor = 0x20;
  int id_length = 0;
  int colour_map = 0;
};

bytes file_of(const header& h, const bytes& data) {
  bytes file(18, '\0');
  file[0] = static_cast<char>(h.id_length);
  file[1] = static_cast<char>(h.colour_map);
  file[2] = static_cast<char>(h.type);
  file[12] = static_cast<char>(h.width);
  file[13] = static_cast<char>(h.width >> 8);
  file[14] = static_cast<char>(h.height);
  file[15] = static_cast<char>(h.height >> 8);
  file[16] = static_cast<char>(h.bits);
  file[17] = static_cast<char>(h.descriptor);
  return file + bytes(static_cast<std::size_t>(h.id_length), 'i') + data;
}

// Packets: `count` times one pixel, or `count` pixels.
bytes run(int count, const bytes& pixel) {
  return static_cast<char>((count - 1) | 128) + pixel;
}
bytes literals(int count, const bytes& pixels) {
  return static_cast<char>(count - 1) + pixels;
}

img::image image_of(const std::string& letters, int width, int height, const std::vector<bytes>& planes) {
  img::image image(letters, 8, width, height);
  for (std::size_t p = 0; p < planes.size(); ++p) std::memcpy(image.data[p].data(), planes[p].data(), planes[p].size());
  return image;
}

constexpr img::save_options plain, no_alpha{0, 90, true}, uncompressed{1, 90, false}, runs{2, 90, false},
    zip{3, 90, false};

struct tga : raster_files::file_test {
  tga() : file_test("tga") {}
};

TEST_F(tga, forms_and_row_orders) {
  struct row {
    header h;
    bytes data;
    const char* letters;
    std::vector<bytes> planes;
  };
  const row rows[] = {
      {{3, 2, 2, 8, 0x20}, "abcd", "L", {"abcd"}},
      {{2, 2, 2, 8, 0x20}, "abcd", "L", {"abcd"}},
      {{3, 2, 2, 8, 0x00}, "abcd", "L", {"cdab"}},
      {{3, 2, 2, 8, 0x10}, "abcd", "L", {"cdab"}},  // columns are never mirrored
      {{3, 2, 1, 8, 0x20, 5}, "ab", "L", {"ab"}},   // after an id of five bytes
      {{2, 2, 1, 24}, "bgrBGR", "BGR", {"bB", "gG", "rR"}},
      {{2, 1, 2, 24, 0}, "bgrBGR", "BGR", {"Bb", "Gg", "Rr"}},
      {{3, 1, 2, 32, 0x28}, "bgraBGRA", "BGRA", {"bB", "gG", "rR", "aA"}},
      // Blue 1, green 16, red 31, and bit 15, which does not count.
      {{2, 2, 1, 16}, {"\x01\xFE\x00\x00", 4}, "BGR", {{"\x08\x00", 2}, {"\x84\x00", 2}, {"\xFF\x00", 2}}},
      {{2, 1, 1, 15}, {"\x01\x7E", 2}, "BGR", {"\x08", "\x84", "\xFF"}},
      // Gray with alpha.
      {{3, 2, 2, 16, 0x28}, "gaGAhbHB", "LA", {"gGhH", "aAbB"}},
      {{11, 3, 2, 16}, run(4, "ga") + literals(2, "GAhb"), "LA", {"ggggGh", "aaaaAb"}},
      {{11, 5, 1, 8}, run(4, "x") + literals(1, "y"), "L", {"xxxxy"}},
      // A run and literals that go on over the row's end, from the bottom up.
      {{11, 3, 3, 8, 0}, run(4, "x") + literals(5, "abcde"), "L", {{"cdexabxxx"}}},
      {{10, 2, 2, 24}, run(3, "bgr") + literals(1, "BGR"), "BGR", {"bbbB", "gggG", "rrrR"}},
      {{10, 3, 1, 16}, run(3, "\x01\xFE"), "BGR", {"\x08\x08\x08", "\x84\x84\x84", "\xFF\xFF\xFF"}},
      // A packet longer than the picture is cut, and bytes after it do not count.
      {{11, 2, 1, 8}, run(128, "xrest"), "L", {"xx"}},
      {{3, 2, 1, 8}, "abrest", "L", {"ab"}},
  };
  for (const row& r : rows) {
    const std::string what = "type " + std::to_string(r.h.type) + " bits " + std::to_string(r.h.bits);
    bytes file = file_of(r.h, r.data);
    file[8] = file[10] = 77;  // origins do not count
    const img::image image = read(file);
    ASSERT_STREQ(image.format.data(), r.letters) << what;
    EXPECT_EQ(image.width, r.h.width);
    EXPECT_EQ(image.height, r.h.height);
    for (std::size_t p = 0; p < r.planes.size(); ++p) {
      EXPECT_EQ(samples(image, static_cast<int>(p)), r.planes[p]) << what << " plane " << p;
    }
  }
}

TEST_F(tga, bad_files_say_what_is_wrong) {
  const char* const eof = "Unexpected end of file";
  const char* const variant = "Unsupported variant";
  const char* const depth = "Unsupported bit depth";
  expect_failures({
      {"empty", "", eof},
      {"cut in the header", file_of({}, "").substr(0, 17), eof},
      {"a byte short", file_of({}, "ab"), eof},
      {"too large for the file", file_of({2, 65535, 65535, 32}, "abcd"), eof},
      {"too large for the file, packed", file_of({10, 65535, 65535, 32}, run(128, "bgra")), eof},
      {"cut in a run", file_of({11, 300, 1, 8}, run(128, "x") + run(128, "x") + "\xFF"), eof},
      {"cut in literals", file_of({11, 3, 1, 8}, literals(3, "xy")), eof},
      {"cut in the id", file_of({2, 1, 1, 24, 0x20, 200}, "abc").substr(0, 100), eof},
      {"with colour map", file_of({2, 1, 1, 24, 0, 0, 1}, "abc"), variant},
      {"type 1", file_of({1, 1, 1, 8}, "a"), variant},
      {"type 0", file_of({0, 1, 1, 8}, "a"), variant},
      {"type 9", file_of({9, 1, 1, 8}, "a"), variant},
      {"type 32", file_of({32, 1, 1, 8}, "a"), variant},
      {"1 bit", file_of({2, 1, 1, 1}, "abc"), depth},
      {"48 bits", file_of({2, 1, 1, 48}, "abcdef"), depth},
      {"no width", file_of({2, 0, 1, 24}, "abc"), "Invalid picture size 0 x 1, expected 1 to 65535"},
  });
}

TEST_F(tga, writer_lays_out_headers_and_planes) {
  struct row {
    img::image image;
    img::save_options options;
    int type, bits, descriptor;
    bytes data;
  };
  img::image with_gap;
  with_gap.reset_like({'B', 'G', 'R', 0, 'Z'}, 8, 1, 1);
  with_gap.fill('b', 'g', 'r', 'a', 'z');
  const img::image gray = image_of("L", 2, 1, {"ab"}), gray_alpha = image_of("LA", 2, 1, {"ab", "xy"});
  const img::image colours = image_of("BGR", 1, 2, {"bB", "gG", "rR"});
  const img::image four = image_of("BGRA", 1, 2, {"bB", "gG", "rR", "aA"});
  const row rows[] = {
      {gray, plain, 3, 8, 0x20, "ab"},
      {gray_alpha, plain, 2, 32, 0x28, "aaaxbbby"},
      {gray_alpha, no_alpha, 3, 8, 0x20, "ab"},
      {colours, uncompressed, 2, 24, 0x20, "bgrBGR"},
      {colours, no_alpha, 2, 24, 0x20, "bgrBGR"},
      {four, zip, 2, 32, 0x28, "bgraBGRA"},
      {four, no_alpha, 2, 24, 0x20, "bgrBGR"},
      // Depth is not stored.
      {image_of("BGRAZ", 1, 1, {"b", "g", "r", "a", "z"}), plain, 2, 32, 0x28, "bgra"},
      {image_of("BGRZ", 1, 1, {"b", "g", "r", "z"}), plain, 2, 24, 0x20, "bgr"},
      {with_gap, plain, 2, 24, 0x20, "bgr"},
      // Rows begin afresh.
      {image_of("L", 4, 2, {"aaaaaaaa"}), runs, 11, 8, 0x20, run(4, "a") + run(4, "a")},
      {image_of("BGR", 3, 1, {"bbb", "ggG", "rrr"}), runs, 10, 24, 0x20, run(2, "bgr") + literals(1, "bGr")},
      {gray_alpha, runs, 10, 32, 0x28, literals(2, "aaaxbbby")},
  };
  for (const row& r : rows) {
    EXPECT_EQ(written(r.image, r.options),
              file_of({r.type, r.image.width, r.image.height, r.bits, r.descriptor}, r.data))
        << "row " << &r - rows;
  }
  EXPECT_THROW(written(img::image("L", 8, 65536, 1)), io::invalid_format);
}

TEST_F(tga, packets_have_the_longest_lengths) {
  bytes alternating;
  for (int i = 0; i < 150; ++i) alternating += i % 2 ? 'b' : 'a';
  const bytes head = alternating.substr(0, 128);
  struct row {
    bytes pixels;
    bytes packets;
  };
  const row rows[] = {
      {"x", literals(1, "x")},
      {"abc", literals(3, "abc")},
      {"aaab", run(3, "a") + literals(1, "b")},
      {"abbc", literals(1, "a") + run(2, "b") + literals(1, "c")},
      {bytes(128, 'x'), run(128, "x")},
      {bytes(129, 'x'), run(128, "x") + literals(1, "x")},
      {bytes(130, 'x'), run(128, "x") + run(2, "x")},
      {bytes(256, 'x'), run(128, "x") + run(128, "x")},
      {head, literals(128, head)},
      {head + "a", literals(128, head) + literals(1, "a")},
      {head.substr(0, 127), literals(127, head.substr(0, 127))},
      {head.substr(0, 127) + "aa", literals(126, head.substr(0, 126)) + run(3, "a")},
  };
  support::every_level([&](const char* level) {
    for (const row& r : rows) {
      const bytes file = written(image_of("L", static_cast<int>(r.pixels.size()), 1, {r.pixels}), runs);
      EXPECT_EQ(file.substr(18), r.packets) << level << " row " << &r - rows;
    }
  });
}

// Pictures larger than the pieces in which files are read, with runs and literals of many lengths.
TEST_F(tga, large_pictures_come_back) {
  for (const char* letters : {"L", "BGR", "BGRA"}) {
    for (int width : {7, 33, 1021, 65535}) {
      img::image image(letters, 8, width, 400000 / width + 2);
      std::uint32_t state = 99;
      for (int p = 0; p < image.plane_count(); ++p) {
        std::uint8_t value = 0;
        for (std::size_t i = 0; i < image.data[p].size(); ++i) {
          state = state * 1664525u + 1013904223u;
          if (state >> 28 < 1 || i % 1999 > 1500) value = static_cast<std::uint8_t>(state >> 16);
          image.data[p].data()[i] = value;
        }
      }
      for (int compression : {1, 2}) {
        const std::size_t size = written(image, {compression, 90, false}).size();
        support::every_thread_count([&](int threads) {
          img::image again;
          img::load(again, path);
          ASSERT_EQ(support::differing_plane(again, image), -1)
              << letters << " " << width << " compression " << compression << " threads " << threads;
        });
        std::filesystem::resize_file(path, size - size / 3);
        support::every_thread_count([&](int threads) {
          img::image cut;
          EXPECT_THROW(img::load(cut, path), io::eof_error) << letters << " " << width << " threads " << threads;
        });
      }
    }
  }
}

}  // namespace
