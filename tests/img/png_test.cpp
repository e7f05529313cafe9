#include <gtest/gtest.h>
#include <zlib.h>

#include <cstring>

#include "img/format.h"
#include "io/exceptions.h"
#include "support/temp_folder.h"

namespace {

using bytes = std::string;

bytes big_endian(std::uint32_t value) {
  return {static_cast<char>(value >> 24), static_cast<char>(value >> 16), static_cast<char>(value >> 8),
          static_cast<char>(value)};
}

bytes chunk(const bytes& type, const bytes& data) {
  const bytes body = type + data;
  const auto crc = crc32(0, reinterpret_cast<const Bytef*>(body.data()), static_cast<uInt>(body.size()));
  return big_endian(static_cast<std::uint32_t>(data.size())) + body + big_endian(static_cast<std::uint32_t>(crc));
}

bytes deflated(const bytes& data) {
  uLongf size = compressBound(data.size());
  bytes out(size, '\0');
  compress(reinterpret_cast<Bytef*>(out.data()), &size, reinterpret_cast<const Bytef*>(data.data()), data.size());
  out.resize(size);
  return out;
}

const bytes signature = "\x89PNG\r\n\x1A\n";

// `rows` is what is deflated: a filter byte and the samples for each row (of each pass).
bytes png_of(int width, int height, int depth, int color_type, const bytes& rows, const bytes& extra = "",
             bool interlaced = false) {
  return signature +
         chunk("IHDR", big_endian(static_cast<std::uint32_t>(width)) + big_endian(static_cast<std::uint32_t>(height)) +
                           bytes{static_cast<char>(depth), static_cast<char>(color_type), 0, 0, interlaced}) +
         extra + chunk("IDAT", deflated(rows)) + chunk("IEND", "");
}

constexpr int gray = 0, rgb = 2, palette = 3, gray_alpha = 4, rgba = 6;

class png : public ::testing::Test {
 protected:
  img::image read(const bytes& content) {
    support::write_file(path, content);
    img::image image;
    img::load(image, path);
    return image;
  }
  support::temp_folder folder;
  std::string path = folder / "a.png";
};

TEST_F(png, forms) {
  struct row {
    const char* what;
    bytes file;
    std::vector<bytes> planes;  // blue, green, red, alpha
  };
  const bytes colours("\x00\x00\xFF\x10\x20\x30", 6);
  const row rows[] = {
      {"gray 8", png_of(2, 1, 8, gray, {"\0ab", 3}), {"ab", "ab", "ab"}},
      {"gray 1", png_of(3, 1, 1, gray, {"\0\xA0", 2}), {{"\xFF\0\xFF", 3}, {"\xFF\0\xFF", 3}, {"\xFF\0\xFF", 3}}},
      {"gray 4", png_of(2, 1, 4, gray, {"\0\x1F", 2}), {"\x11\xFF", "\x11\xFF", "\x11\xFF"}},
      // 0x807F / 257 is 128.5 less a hair; 0xFFFF is 255.
      {"gray 16", png_of(2, 1, 16, gray, {"\0\x80\x7F\xFF\xFF", 5}), {"\x80\xFF", "\x80\xFF", "\x80\xFF"}},
      {"gray and alpha", png_of(2, 1, 8, gray_alpha, {"\0axby", 5}), {"ab", "ab", "ab", "xy"}},
      {"gray with transparent value",
       png_of(2, 1, 8, gray, {"\0ab", 3}, chunk("tRNS", {"\0b", 2})),
       {"ab", "ab", "ab", {"\xFF\0", 2}}},
      {"colour 8", png_of(1, 2, 8, rgb, {"\0rgb\0RGB", 8}), {"bB", "gG", "rR"}},
      // 0x0180 is 1.49, 0x0181 is 1.5 and a bit.
      {"colour 16", png_of(1, 1, 16, rgb, {"\0\x01\x7F\x01\x81\xFF\x7E", 7}), {"\xFE", "\x01", "\x01"}},
      {"colour and alpha", png_of(1, 2, 8, rgba, {"\0rgba\0RGBA", 10}), {"bB", "gG", "rR", "aA"}},
      {"colour and alpha 16", png_of(1, 1, 16, rgba, {"\0r\0g\0b\0a\0", 9}), {"b", "g", "r", "a"}},
      {"palette 8",
       png_of(2, 1, 8, palette, {"\0\1\0", 3}, chunk("PLTE", colours)),
       {{"\x30\xFF", 2}, {"\x20\0", 2}, {"\x10\0", 2}}},
      {"palette 2 with alpha",
       png_of(2, 1, 2, palette, {"\0\x40", 2}, chunk("PLTE", colours) + chunk("tRNS", "\x7F")),
       {{"\x30\xFF", 2}, {"\x20\0", 2}, {"\x10\0", 2}, {"\xFF\x7F", 2}}},
      // The filter that adds the byte above, which is two for the second row.
      {"filtered", png_of(1, 2, 8, gray, {"\0\5\2\5", 4}), {"\5\12", "\5\12", "\5\12"}},
      // Adam7 on 2 x 2: the pixel at 0,0 in pass 1, at 1,0 in pass 6, the second row in pass 7.
      {"interlaced", png_of(2, 2, 8, gray, {"\0a\0b\0cd", 7}, "", true), {"abcd", "abcd", "abcd"}},
  };
  for (const row& r : rows) {
    const img::image image = read(r.file);
    EXPECT_STREQ(image.format.data(), r.planes.size() == 4 ? "BGRA" : "BGR") << r.what;
    for (std::size_t p = 0; p < r.planes.size(); ++p) {
      EXPECT_EQ(bytes(reinterpret_cast<const char*>(image.data[p].data()), image.data[p].size()), r.planes[p])
          << r.what << " plane " << p;
    }
    EXPECT_EQ(image.path, path);
    EXPECT_EQ(image.user[0], (math::point{image.width / 2, image.height / 2}));
    const img::picture_header header = img::find_format(path)->read_header(path, {});
    EXPECT_EQ(header.width, image.width);
    EXPECT_EQ(header.has_alpha, r.planes.size() == 4) << r.what;
  }
}

TEST_F(png, text_becomes_metadata) {
  const img::image image = read(png_of(1, 1, 8, gray, {"\0a", 2}, chunk("tEXt", {"Title\0A title", 13})));
  EXPECT_EQ(image.metadata, (std::map<std::string, std::string>{{"Title", "A title"}}));
}

TEST_F(png, bad_files_say_what_is_wrong) {
  const bytes good = png_of(64, 64, 8, rgb, bytes(64 * 193, '\0'));
  struct row {
    const char* what;
    bytes file;
    const char* message;  // a part of it
  };
  bytes wrong_sum = good;
  wrong_sum[20] ^= 1;
  const row rows[] = {
      {"empty", "", "Unexpected end of file"},
      {"not a PNG", "GIF89a, some more bytes", "Not a PNG file"},
      {"cut in the header", good.substr(0, 20), "Unexpected end of file"},
      {"cut in the data", good.substr(0, 60), "Unexpected end of file"},
      {"wrong checksum", wrong_sum, "CRC error"},
      {"no data", png_of(64, 64, 8, rgb, ""), ""},
      {"too large for the file", png_of(60000, 60000, 8, rgba, bytes(60, '\0')), "Picture size 60000 x 60000"},
      {"too large for the file, one bit", png_of(60000, 60000, 1, gray, bytes(60, '\0')), "Picture size 60000 x 60000"},
      {"no width", png_of(0, 1, 8, gray, {"\0a", 2}), "Invalid IHDR data"},
      {"width above all", png_of(0x7FFFFFFF, 1, 8, gray, {"\0a", 2}), "Invalid IHDR data"},
      {"palette without colours", png_of(1, 1, 8, palette, {"\0\0", 2}), "Missing PLTE"},
  };
  for (const row& r : rows) {
    try {
      read(r.file);
      FAIL() << r.what << " was read";
    } catch (const io::exception& failure) {
      EXPECT_EQ(failure.source(), path) << r.what;
      EXPECT_FALSE(failure.message().empty()) << r.what;
      EXPECT_NE(failure.message().find(r.message), bytes::npos) << r.what << ": " << failure.message();
    }
  }
}

TEST_F(png, written_files_come_back) {
  struct row {
    const char* letters;
    bool ignore_alpha;
    int color_type;
    const char* read;
  };
  const row rows[] = {
      {"L", false, gray, "BGR"},      {"LA", false, gray_alpha, "BGRA"}, {"LA", true, gray, "BGR"},
      {"BGR", false, rgb, "BGR"},     {"BGRA", false, rgba, "BGRA"},     {"BGRA", true, rgb, "BGR"},
      {"BGRAZ", false, rgba, "BGRA"},
  };
  for (const row& r : rows) {
    for (int width : {1, 31, 100}) {
      img::image image(r.letters, 8, width, 5);
      for (int p = 0; p < image.plane_count(); ++p) {
        for (std::size_t i = 0; i < image.data[p].size(); ++i) {
          image.data[p].data()[i] = static_cast<std::uint8_t>(i * 31 + static_cast<std::size_t>(p) * 77);
        }
      }
      const bool is_gray = r.letters[0] == 'L';
      for (int compression : {0, 1}) {
        img::save(image, path, nullptr, {compression, 90, r.ignore_alpha});
        EXPECT_EQ(support::read_file(path)[25], r.color_type) << r.letters;
        img::image again;
        img::load(again, path);
        EXPECT_STREQ(again.format.data(), r.read) << r.letters;
        for (int p = 0; p < again.plane_count(); ++p) {
          const int from = !is_gray ? p : p == 3 ? 1 : 0;
          EXPECT_TRUE(again.data[p] == image.data[from]) << r.letters << " " << width << " plane " << p;
        }
      }
    }
  }
  try {
    img::save(img::image(), path, nullptr, {});
    FAIL() << "an empty image was written";
  } catch (const io::invalid_format& failure) {
    EXPECT_EQ(failure.message(), "Cannot export an empty image");
  }
  EXPECT_THROW(img::save(img::image("L", 8, 1, 1), folder / "no/a.png", nullptr, {}), io::open_error);
  if (std::filesystem::exists("/dev/full")) {
    EXPECT_THROW(img::save(img::image("L", 8, 1, 1), "/dev/full", "png", {}), io::write_error);
  }
}

TEST_F(png, samples_of_others) {
  const std::string samples = KESTRIN_SAMPLES_DIR "/png/";
  if (!std::filesystem::exists(samples)) GTEST_SKIP() << "no sample files";
  struct row {
    const char* name;
    const char* letters;
  };
  const row rows[] = {{"basi2c08.png", "BGR"},  {"basn0g08.png", "BGR"}, {"basn2c08.png", "BGR"},
                      {"basn2c16.png", "BGR"},  {"basn3p04.png", "BGR"}, {"basn6a08.png", "BGRA"},
                      {"basn6a16.png", "BGRA"}, {"tbbn3p08.png", "BGRA"}};
  for (const row& r : rows) {
    img::image image;
    ASSERT_NO_THROW(img::load(image, samples + r.name)) << r.name;
    EXPECT_STREQ(image.format.data(), r.letters) << r.name;
    EXPECT_EQ(image.width, 32);
    EXPECT_EQ(image.height, 32);
  }
  // The same picture interlaced and not.
  img::image plain, interlaced;
  img::load(plain, samples + "basn2c08.png");
  img::load(interlaced, samples + "basi2c08.png");
  for (int p = 0; p < 3; ++p) EXPECT_TRUE(plain.data[p] == interlaced.data[p]);
}

}  // namespace
