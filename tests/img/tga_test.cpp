#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "img/format.h"
#include "io/exceptions.h"
#include "support/levels.h"
#include "support/temp_folder.h"

namespace {

using bytes = std::string;

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
  file[8] = 77;  // origins do not count
  file[10] = 66;
  file[12] = static_cast<char>(h.width);
  file[13] = static_cast<char>(h.width >> 8);
  file[14] = static_cast<char>(h.height);
  file[15] = static_cast<char>(h.height >> 8);
  file[16] = static_cast<char>(h.bits);
  file[17] = static_cast<char>(h.descriptor);
  return file + bytes(static_cast<std::size_t>(h.id_length), 'i') + data;
}

bytes samples(const img::image& image, int plane) {
  return {reinterpret_cast<const char*>(image.data[plane].data()), image.data[plane].size()};
}

class tga : public ::testing::Test {
 protected:
  img::image read(const bytes& content) {
    support::write_file(path, content);
    img::image image;
    img::load(image, path);
    return image;
  }
  std::string failure_of(const bytes& content) {
    try {
      read(content);
    } catch (const io::exception& failure) {
      EXPECT_EQ(failure.source(), path);
      return failure.message();
    }
    return "";
  }
  bytes written(const img::image& image, const img::save_options& options = {}) {
    img::save(image, path, nullptr, options);
    return support::read_file(path);
  }

  support::temp_folder folder;
  std::string path = folder / "a.tga";
};

TEST_F(tga, forms_and_row_orders) {
  struct row {
    header h;
    bytes data;
    std::string letters;
    std::vector<bytes> planes;
  };
  const row rows[] = {
      {{3, 2, 2, 8, 0x20}, "abcd", "L", {"abcd"}},
      {{2, 2, 2, 8, 0x20}, "abcd", "L", {"abcd"}},
      {{3, 2, 2, 8, 0x00}, "abcd", "L", {"cdab"}},
      {{3, 2, 2, 8, 0x10}, "abcd", "L", {"cdab"}},  // columns are never mirrored
      {{3, 2, 1, 8, 0x20, 5}, "ab", "L", {"ab"}},   // behind an id of five bytes
      {{2, 2, 1, 24}, "bgrBGR", "BGR", {"bB", "gG", "rR"}},
      {{2, 1, 2, 24, 0}, "bgrBGR", "BGR", {"Bb", "Gg", "Rr"}},
      {{3, 1, 2, 32, 0x28}, "bgraBGRA", "BGRA", {"bB", "gG", "rR", "aA"}},
      {{2, 2, 1, 16}, {"\x01\xFE\x00\x00", 4}, "BGR", {{"\x08\x00", 2}, {"\x84\x00", 2}, {"\xFF\x00", 2}}},
      {{2, 1, 1, 15}, {"\x01\x7E", 2}, "BGR", {"\x08", "\x84", "\xFF"}},
      {{11, 5, 1, 8}, {"\x83x\x00y", 4}, "L", {"xxxxy"}},
      // A run and literals that go on over the row's end, from the bottom up.
      {{11, 3, 3, 8, 0},
       {"\x83x\x04"
        "abcde",
        8},
       "L",
       {{"cdexabxxx"}}},
      {{10, 2, 2, 24},
       {"\x82"
        "bgr\x00"
        "BGR",
        8},
       "BGR",
       {"bbbB", "gggG", "rrrR"}},
      {{10, 3, 1, 16}, {"\x82\x01\xFE", 3}, "BGR", {"\x08\x08\x08", "\x84\x84\x84", "\xFF\xFF\xFF"}},
      // A packet longer than the picture is cut, and bytes behind it do not count.
      {{11, 2, 1, 8}, {"\xFFxrest", 6}, "L", {"xx"}},
      {{3, 2, 1, 8}, "abrest", "L", {"ab"}},
  };
  for (const row& r : rows) {
    const std::string what = "type " + std::to_string(r.h.type) + " bits " + std::to_string(r.h.bits);
    const img::image image = read(file_of(r.h, r.data));
    ASSERT_EQ(std::string(image.format.data()), r.letters) << what;
    EXPECT_EQ(image.width, r.h.width);
    EXPECT_EQ(image.height, r.h.height);
    for (std::size_t p = 0; p < r.planes.size(); ++p) {
      EXPECT_EQ(samples(image, static_cast<int>(p)), r.planes[p]) << what << " plane " << p;
      EXPECT_EQ(image.depth[p], 8);
    }
    EXPECT_EQ(image.path, path);
    EXPECT_NE(image.mtime, 0);
    EXPECT_EQ(image.user[0], (math::point{r.h.width / 2, r.h.height / 2}));

    const img::picture_header quick = img::find_format(path)->read_header(path, {});
    EXPECT_EQ(quick.width, r.h.width);
    EXPECT_EQ(quick.height, r.h.height);
    EXPECT_EQ(quick.has_alpha, r.letters == "BGRA") << what;
    EXPECT_EQ(quick.layers, std::vector<img::layer>(1));
  }
}

TEST_F(tga, bad_files_say_what_is_wrong) {
  struct row {
    bytes content;
    const char* message;
    bool header_is_good = false;
  };
  const row rows[] = {
      {"", "Unexpected end of file"},
      {file_of({}, "").substr(0, 17), "Unexpected end of file"},
      {file_of({}, "ab"), "Unexpected end of file"},
      {file_of({2, 65535, 65535, 32}, "abcd"), "Unexpected end of file"},
      {file_of({10, 65535, 65535, 32},
               "\xFF"
               "bgra"),
       "Unexpected end of file"},
      {file_of({11, 300, 1, 8}, {"\xFFx\xFFx\xFF", 5}), "Unexpected end of file", true},
      {file_of({11, 3, 1, 8}, {"\x02xy", 3}), "Unexpected end of file", true},
      {file_of({2, 1, 1, 24, 0x20, 200}, "abc").substr(0, 100), "Unexpected end of file"},
      {file_of({2, 1, 1, 24, 0, 0, 1}, "abc"), "Unsupported variant"},
      {file_of({1, 1, 1, 8}, "a"), "Unsupported variant"},
      {file_of({0, 1, 1, 8}, "a"), "Unsupported variant"},
      {file_of({9, 1, 1, 8}, "a"), "Unsupported variant"},
      {file_of({32, 1, 1, 8}, "a"), "Unsupported variant"},
      {file_of({2, 1, 1, 1}, "abc"), "Unsupported bit depth"},
      {file_of({2, 1, 1, 48}, "abcdef"), "Unsupported bit depth"},
      {file_of({2, 0, 1, 24}, "abc"), "Invalid picture size 0 x 1, expected 1 to 65535"},
  };
  for (const row& r : rows) {
    EXPECT_EQ(failure_of(r.content), r.message) << "file " << &r - rows;
    if (r.header_is_good) continue;
    EXPECT_THROW(img::find_format(path)->read_header(path, {}), io::exception) << "file " << &r - rows;
  }
}

TEST_F(tga, missing_and_folder) {
  img::image image;
  EXPECT_THROW(img::load(image, folder / "missing.tga"), io::open_error);
  EXPECT_THROW(img::load(image, folder.path(), "tga"), io::open_error);
  EXPECT_THROW(img::save(img::image("L", 8, 1, 1), folder / "no/such/folder.tga", nullptr, {}), io::open_error);
}

img::image image_of(const std::string& letters, int width, int height, const std::vector<bytes>& planes) {
  img::image image(letters, 8, width, height);
  for (std::size_t p = 0; p < planes.size(); ++p) std::memcpy(image.data[p].data(), planes[p].data(), planes[p].size());
  return image;
}

TEST_F(tga, writer_lays_out_headers_and_planes) {
  struct row {
    img::image image;
    img::save_options options;
    int type, bits, descriptor;
    bytes data;
  };
  img::image with_depth = image_of("BGRZ", 1, 1, {"b", "g", "r", "z"});
  img::image with_gap;
  with_gap.reset_like({'B', 'G', 'R', 0, 'Z'}, 8, 1, 1);
  with_gap.fill('b', 'g', 'r', 'a', 'z');
  const img::save_options plain, no_alpha{0, 90, true}, uncompressed{1, 90, false}, runs{2, 90, false},
      zip{3, 90, false};
  const row rows[] = {
      {image_of("L", 2, 1, {"ab"}), plain, 3, 8, 0x20, "ab"},
      {image_of("LA", 2, 1, {"ab", "xy"}), plain, 2, 32, 0x28, "aaaxbbby"},
      {image_of("LA", 2, 1, {"ab", "xy"}), no_alpha, 3, 8, 0x20, "ab"},
      {image_of("BGR", 1, 2, {"bB", "gG", "rR"}), uncompressed, 2, 24, 0x20, "bgrBGR"},
      {image_of("BGRA", 1, 2, {"bB", "gG", "rR", "aA"}), zip, 2, 32, 0x28, "bgraBGRA"},
      {image_of("BGRA", 1, 2, {"bB", "gG", "rR", "aA"}), no_alpha, 2, 24, 0x20, "bgrBGR"},
      {image_of("BGR", 1, 2, {"bB", "gG", "rR"}), no_alpha, 2, 24, 0x20, "bgrBGR"},
      {image_of("BGRAZ", 1, 1, {"b", "g", "r", "a", "z"}), plain, 2, 32, 0x28, "bgra"},
      {with_depth, plain, 2, 24, 0x20, "bgr"},
      {with_gap, plain, 2, 24, 0x20, "bgr"},
      {image_of("L", 4, 1, {"aaab"}),
       runs,
       11,
       8,
       0x20,
       {"\x82"
        "a\x00"
        "b",
        4}},
      {image_of("L", 4, 2, {"aaaaaaaa"}),
       runs,
       11,
       8,
       0x20,
       {"\x83"
        "a\x83"
        "a",
        4}},  // rows begin afresh
      {image_of("L", 3, 1, {"abc"}),
       runs,
       11,
       8,
       0x20,
       {"\x02"
        "abc",
        4}},
      {image_of("L", 4, 1, {"abbc"}),
       runs,
       11,
       8,
       0x20,
       {"\x00"
        "a\x81"
        "b\x00"
        "c",
        6}},
      {image_of("BGR", 3, 1, {"bbb", "ggG", "rrr"}),
       runs,
       10,
       24,
       0x20,
       {"\x81"
        "bgr\x00"
        "bGr",
        8}},
      {image_of("LA", 2, 1, {"ab", "xy"}),
       runs,
       10,
       32,
       0x28,
       {"\x01"
        "aaaxbbby",
        9}},
  };
  for (const row& r : rows) {
    const bytes file = written(r.image, r.options);
    bytes expected = file_of({r.type, r.image.width, r.image.height, r.bits, r.descriptor}, r.data);
    expected[8] = expected[10] = 0;
    EXPECT_EQ(file, expected) << "row " << &r - rows;
  }
}

TEST_F(tga, packets_have_the_longest_lengths) {
  const std::string alternating = [] {
    std::string text;
    for (int i = 0; i < 150; ++i) text += static_cast<char>('a' + i % 2);
    return text;
  }();
  struct row {
    bytes pixels;
    bytes packets;
  };
  const row rows[] = {
      {bytes(128, 'x'), "\xFFx"},
      {bytes(129, 'x'), {"\xFFx\x00x", 4}},
      {bytes(130, 'x'), {"\xFFx\x81x", 4}},
      {bytes(256, 'x'), "\xFFx\xFFx"},
      {alternating.substr(0, 128), "\x7F" + alternating.substr(0, 128)},
      {alternating.substr(0, 129), "\x7F" + alternating.substr(0, 128) +
                                       bytes("\x00"
                                             "a",
                                             2)},
      {alternating.substr(0, 127), "\x7E" + alternating.substr(0, 127)},
      {alternating.substr(0, 127) + "aa", "\x7D" + alternating.substr(0, 126) +
                                              "\x82"
                                              "a"},
      {"x", bytes("\x00x", 2)},
  };
  support::every_level([&](const char* level) {
    for (const row& r : rows) {
      const int width = static_cast<int>(r.pixels.size());
      const bytes file = written(image_of("L", width, 1, {r.pixels}), {2, 90, false});
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
          ASSERT_EQ(again.format, image.format);
          for (int p = 0; p < image.plane_count(); ++p) {
            ASSERT_TRUE(again.data[p] == image.data[p])
                << letters << " " << width << " compression " << compression << " threads " << threads;
          }
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

TEST_F(tga, writer_refuses_what_it_cannot_store) {
  EXPECT_THROW(written(img::image()), io::invalid_format);
  try {
    written(img::image());
  } catch (const io::exception& failure) {
    EXPECT_EQ(failure.message(), "Cannot export an empty image");
  }
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_THROW(written(img::image("L", 8, 65536, 1)), io::invalid_format);
}

TEST_F(tga, samples_of_others) {
  const std::string samples_folder = KESTRIN_SAMPLES_DIR "/tga/";
  if (!std::filesystem::exists(samples_folder)) GTEST_SKIP() << "no sample files";
  struct row {
    const char* name;
    int width, height;
    const char* result;  // letters, or the message
  };
  const row rows[] = {
      {"UTC24.TGA", 128, 128, "BGR"},
      {"UTC16.TGA", 128, 128, "BGR"},
      {"CTC32.TGA", 128, 128, "BGRA"},
      {"UBW8.TGA", 128, 128, "L"},
      {"CCM8.TGA", 0, 0, "Unsupported variant"},
  };
  for (const row& r : rows) {
    img::image image;
    try {
      img::load(image, samples_folder + r.name);
      EXPECT_STREQ(image.format.data(), r.result) << r.name;
      EXPECT_EQ(image.width, r.width) << r.name;
      EXPECT_EQ(image.height, r.height) << r.name;
    } catch (const io::exception& failure) {
      EXPECT_EQ(failure.message(), r.result) << r.name;
    }
  }
}

}  // namespace
