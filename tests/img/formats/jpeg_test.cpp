#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <jpeglib.h>

#include "img/formats/raster_files.h"
#include "support/pictures.h"

namespace {

using raster_files::bytes;

// A file of one colour by the library itself.
bytes jpeg_of(int channels, J_COLOR_SPACE space, const std::vector<std::uint8_t>& colour, bool adobe_marker,
              int width = 16, int height = 8) {
  jpeg_compress_struct jpeg;
  jpeg_error_mgr errors;
  jpeg.err = jpeg_std_error(&errors);
  jpeg_create_compress(&jpeg);
  unsigned char* memory = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&jpeg, &memory, &size);
  jpeg.image_width = static_cast<JDIMENSION>(width);
  jpeg.image_height = static_cast<JDIMENSION>(height);
  jpeg.input_components = channels;
  jpeg.in_color_space = space;
  jpeg_set_defaults(&jpeg);
  if (space == JCS_UNKNOWN) jpeg_set_colorspace(&jpeg, JCS_UNKNOWN);
  jpeg_set_quality(&jpeg, 100, TRUE);
  jpeg.write_Adobe_marker = adobe_marker;
  jpeg_start_compress(&jpeg, TRUE);
  std::vector<std::uint8_t> row;
  for (int x = 0; x < width; ++x) row.insert(row.end(), colour.begin(), colour.end());
  JSAMPROW rows = row.data();
  for (int y = 0; y < height; ++y) jpeg_write_scanlines(&jpeg, &rows, 1);
  jpeg_finish_compress(&jpeg);
  jpeg_destroy_compress(&jpeg);
  bytes file(reinterpret_cast<char*>(memory), size);
  free(memory);
  return file;
}

struct jpeg : raster_files::file_test {
  jpeg() : file_test("jpg") {}
};

TEST_F(jpeg, forms) {
  struct row {
    const char* what;
    bytes file;
    int blue, green, red;
  };
  const row rows[] = {
      {"gray", jpeg_of(1, JCS_GRAYSCALE, {77}, false), 77, 77, 77},
      {"colour", jpeg_of(3, JCS_RGB, {200, 100, 50}, false), 50, 100, 200},
      // Light of an ink is (255 - ink) * (255 - black) / 255: red 155 * 205 / 255.
      {"CMYK as ink", jpeg_of(4, JCS_CMYK, {100, 0, 255, 50}, false), 0, 205, 125},
      {"CMYK as Adobe stores it", jpeg_of(4, JCS_CMYK, {155, 255, 0, 205}, true), 0, 205, 125},
  };
  for (const row& r : rows) {
    const img::image image = read(r.file);
    ASSERT_STREQ(image.format.data(), "BGR") << r.what;
    EXPECT_EQ(image.width, 16);
    EXPECT_EQ(image.height, 8);
    const int expected[] = {r.blue, r.green, r.red};
    for (int p = 0; p < 3; ++p) {
      for (std::size_t i = 0; i < image.data[p].size(); ++i) {
        ASSERT_NEAR(image.data[p].data()[i], expected[p], 2) << r.what << " plane " << p;
      }
    }
  }
}

TEST_F(jpeg, bad_files_say_what_is_wrong) {
  const bytes good = jpeg_of(3, JCS_RGB, {200, 100, 50}, false, 600, 400);
  bytes large = good;  // the frame header holds marker, length, precision, height and width
  const std::size_t frame = large.find("\xFF\xC0");
  std::memcpy(large.data() + frame + 5, "\xFF\x00\xFF\x00", 4);
  bytes no_height = good;
  std::memcpy(no_height.data() + frame + 5, "\0\0", 2);
  expect_failures({
      {"empty", "", "Unexpected end of file"},
      {"not a JPEG", "GIF89a", "Not a JPEG file"},
      {"cut in the header", good.substr(0, 100), "Unexpected end of file"},
      {"cut before the data", good.substr(0, good.find("\xFF\xDA") + 20), "Unexpected end of file"},
      {"too large for the file", large, "Picture size 65280 x 65280"},
      {"no height", no_height, "DNL not supported"},
      {"two channels", jpeg_of(2, JCS_UNKNOWN, {1, 2}, false), "Invalid number of channels"},
  });
}

// The part that is there is shown, the rest is black, and the picture says how much.
TEST_F(jpeg, files_that_end_early) {
  const bytes good = written(support::random_picture("BGR", 64, 64));
  const img::image whole = read(good);
  EXPECT_EQ(whole.note, "");
  const img::image no_mark = read(good.substr(0, good.size() - 2));
  EXPECT_EQ(no_mark.data, whole.data);
  EXPECT_EQ(no_mark.note, "");
  for (const double part : {0.4, 0.6, 0.9}) {
    const img::image cut = read(good.substr(0, static_cast<std::size_t>(part * static_cast<double>(good.size()))));
    int missing = 0;
    ASSERT_EQ(std::sscanf(cut.note.c_str(), "%d of 64 lines are missing", &missing), 1) << cut.note;
    EXPECT_NEAR(missing, 64 * (1 - part), 24);
    // The last line before the gap is drawn with the one after it.
    const std::size_t there = static_cast<std::size_t>(63 - missing) * 64;
    EXPECT_EQ(std::memcmp(cut.data[1].data(), whole.data[1].data(), there), 0) << part;
    for (int y = 64 - missing; y < 64; ++y) EXPECT_EQ(cut.row(0, y)[5], 0);
  }
}

// The library's own rows of a file, blue first.
std::vector<std::uint8_t> rows_by_the_library(const bytes& file) {
  jpeg_decompress_struct jpeg;
  jpeg_error_mgr errors;
  jpeg.err = jpeg_std_error(&errors);
  errors.emit_message = [](j_common_ptr, int) {};
  jpeg_create_decompress(&jpeg);
  jpeg_mem_src(&jpeg, reinterpret_cast<const unsigned char*>(file.data()), file.size());
  jpeg_read_header(&jpeg, TRUE);
  jpeg.out_color_space = JCS_EXT_BGR;
  jpeg_start_decompress(&jpeg);
  std::vector<std::uint8_t> rows(std::size_t{3} * jpeg.output_width * jpeg.output_height);
  while (jpeg.output_scanline < jpeg.output_height) {
    JSAMPROW row = rows.data() + std::size_t{3} * jpeg.output_width * jpeg.output_scanline;
    jpeg_read_scanlines(&jpeg, &row, 1);
  }
  jpeg_finish_decompress(&jpeg);
  jpeg_destroy_decompress(&jpeg);
  return rows;
}

// Chroma of half size is made into colours here, to the bit as the library does it.
TEST_F(jpeg, colours_are_the_librarys) {
  const auto compare = [&](const bytes& file, const std::string& what) {
    const img::image image = read(file);
    int missing = 0;
    std::sscanf(image.note.c_str(), "%d lines", &missing);
    const std::vector<std::uint8_t> rows = rows_by_the_library(file);
    for (int p = 0; p < 3; ++p) {
      const std::size_t end = image.data[p].size() - static_cast<std::size_t>(missing * image.width);
      for (std::size_t i = 0; i < end; ++i) {
        ASSERT_EQ(image.data[p].data()[i], rows[3 * i + static_cast<std::size_t>(p)]) << what << " at " << i;
      }
    }
  };
  support::every_level([&](const char* level) {
    for (const int width : {1, 4, 5, 6, 16, 17, 31, 32, 33, 64, 65, 79, 130}) {
      for (const int height : {1, 2, 3, 15, 16, 17, 18, 33, 48}) {
        const bytes file = written(support::random_picture("BGR", width, height), {0, 80, false});
        const std::string what = std::to_string(width) + " x " + std::to_string(height) + " " + level;
        compare(file, what);
        if (height == 48 && width > 60) compare(file.substr(0, file.size() * 3 / 4), what + ", cut");
      }
    }
  });
}

// Numbers in one byte order, entries of 12 bytes: the orientation, a maker, and a directory with an exposure time.
bytes exif_block(bool big_endian, int orientation) {
  bytes block = big_endian ? "MM" : "II";
  const auto add = [&](std::uint32_t value, int count) {
    for (int i = 0; i < count; ++i) block += static_cast<char>(value >> (8 * (big_endian ? count - 1 - i : i)));
  };
  const auto entry = [&](std::uint32_t tag, std::uint32_t type, std::uint32_t count, std::uint32_t value, int bytes) {
    add(tag, 2);
    add(type, 2);
    add(count, 4);
    add(value, bytes);
    add(0, 4 - bytes);
  };
  add(42, 2);
  add(8, 4);
  add(3, 2);
  entry(0x010F, 2, 7, 50, 4);
  entry(0x0112, 3, 1, static_cast<std::uint32_t>(orientation), 2);
  entry(0x8769, 4, 1, 58, 4);
  add(0, 4);
  block += bytes("Lumina\0\0", 8);
  add(1, 2);
  entry(0x829A, 5, 1, 76, 4);
  add(0, 4);
  add(1, 4);
  add(50, 4);
  return block;
}

bytes with_marker(const bytes& file, int marker, const bytes& content) {
  bytes segment{'\xFF', static_cast<char>(marker), static_cast<char>((content.size() + 2) >> 8),
                static_cast<char>(content.size() + 2)};
  return file.substr(0, 2) + segment + content + file.substr(2);
}

TEST_F(jpeg, orientation_is_applied) {
  // Four quarters of their own gray: upper left, upper right, lower left, lower right.
  constexpr int grays[] = {20, 90, 160, 230};
  img::image image("L", 8, 64, 32);
  for (int y = 0; y < 32; ++y) {
    for (int x = 0; x < 64; ++x) image.row(0, y)[x] = static_cast<std::uint8_t>(grays[y / 16 * 2 + x / 32]);
  }
  const bytes file = written(image, {0, 100, false});
  // Which quarter stands where, in the same order.
  constexpr int quarters[][4] = {{0, 1, 2, 3}, {1, 0, 3, 2}, {3, 2, 1, 0}, {2, 3, 0, 1},
                                 {0, 2, 1, 3}, {2, 0, 3, 1}, {3, 1, 2, 0}, {1, 3, 0, 2}};
  for (int orientation = 0; orientation <= 9; ++orientation) {
    for (const bool big_endian : {false, true}) {
      const img::image out = read(with_marker(file, 0xE1, bytes("Exif\0\0", 6) + exif_block(big_endian, orientation)));
      const bool known = orientation >= 1 && orientation <= 8;
      EXPECT_EQ(out.width, orientation >= 5 && known ? 32 : 64) << orientation;
      for (int q = 0; q < 4; ++q) {
        const int y = (q / 2 * 2 + 1) * out.height / 4;
        const int x = (q % 2 * 2 + 1) * out.width / 4;
        EXPECT_NEAR(out.row(1, y)[x], grays[quarters[known ? orientation - 1 : 0][q]], 3) << orientation << " " << q;
      }
      EXPECT_EQ(out.metadata.at("exif_make"), "Lumina");
      EXPECT_EQ(out.metadata.at("exif_exposure_time"), "1/50");
    }
  }
  const bytes block = exif_block(false, 6);
  for (std::size_t size = 0; size < block.size(); ++size) {
    read(with_marker(file, 0xE1, bytes("Exif\0\0", 6) + block.substr(0, size)));
  }
  const img::image told = read(with_marker(file, 0xE1, bytes("http://ns.adobe.com/xap/1.0/\0", 29) + "<x:xmpmeta/>"));
  EXPECT_EQ(told.metadata.at("xmp"), "<x:xmpmeta/>");
}

TEST_F(jpeg, written_files_come_back) {
  struct row {
    const char* letters;
    bool ignore_alpha;
    int components;
  };
  const row rows[] = {{"L", false, 1}, {"LA", true, 1}, {"BGR", false, 3}, {"BGRA", false, 3}, {"BGRAZ", true, 3}};
  for (const row& r : rows) {
    img::image image(r.letters, 8, 65, 33);
    for (int p = 0; p < image.plane_count(); ++p) {
      for (int y = 0; y < image.height; ++y) {
        for (int x = 0; x < image.width; ++x) image.row(p, y)[x] = static_cast<std::uint8_t>(60 + p * 40 + x + y);
      }
    }
    const bytes file = written(image, {0, 100, r.ignore_alpha});
    EXPECT_EQ(file[file.find("\xFF\xC0") + 9], r.components) << r.letters;
    const img::image again = read(file);
    for (int p = 0; p < 3; ++p) {
      const int from = r.letters[0] == 'L' ? 0 : p;
      for (std::size_t i = 0; i < again.data[p].size(); ++i) {
        ASSERT_NEAR(again.data[p].data()[i], image.data[from].data()[i], 5) << r.letters << " plane " << p;
      }
    }
  }
}

TEST_F(jpeg, writer_options_and_refusals) {
  const img::image noise = support::random_picture("BGR", 64, 64);
  std::size_t last = 0;
  for (int quality : {1, 50, 90, 100}) {
    const std::size_t size = written(noise, {0, quality, false}).size();
    EXPECT_GT(size, last) << quality;
    last = size;
  }
  auto refusal_of = [&](const img::image& image) { return support::failure_of(path, [&] { written(image); }); };
  EXPECT_EQ(refusal_of(img::image("LA", 8, 4, 4)), "io::invalid_format: JPEG does not support two channel images");
  EXPECT_EQ(refusal_of(img::image("L", 8, 65501, 1)),
            "io::invalid_format: Invalid picture size 65501 x 1, the format takes up to 65500");
}

}  // namespace
