#include <zlib.h>

#include <cstdlib>

#include "img/formats/byte_text.h"
#include "img/formats/raster_files.h"
#include "support/pictures.h"

namespace {

using raster_files::bytes;

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

struct png : raster_files::file_test {
  png() : file_test("png") {}
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
      {"gray and alpha", png_of(2, 1, 8, gray_alpha, {"\0axby", 5}), {"ab", "ab", "ab", "xy"}},
      {"gray with transparent value",
       png_of(2, 1, 8, gray, {"\0ab", 3}, chunk("tRNS", {"\0b", 2})),
       {"ab", "ab", "ab", {"\xFF\0", 2}}},
      {"colour 8", png_of(1, 2, 8, rgb, {"\0rgb\0RGB", 8}), {"bB", "gG", "rR"}},
      {"colour and alpha", png_of(1, 2, 8, rgba, {"\0rgba\0RGBA", 10}), {"bB", "gG", "rR", "aA"}},
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
      EXPECT_EQ(raster_files::samples(image, static_cast<int>(p)), r.planes[p]) << r.what << " plane " << p;
    }
  }
}

// Linear halves, as precise as those are.
TEST_F(png, sixteen_bits_stay) {
  struct row {
    const char* what;
    bytes file;
    std::vector<std::vector<int>> codes;  // blue, green, red, alpha
  };
  const bytes samples("\0\x40\0\x80\0\xFF\xFF\x20\0", 9);  // a filter byte, then 16384, 32768, 65535, 8192
  const row rows[] = {
      {"gray", png_of(2, 1, 16, gray, samples.substr(0, 5)), {{16384, 32768}, {16384, 32768}, {16384, 32768}}},
      {"gray with transparent value",
       png_of(2, 1, 16, gray, samples.substr(0, 5), chunk("tRNS", {"\x40\0", 2})),
       {{16384, 32768}, {16384, 32768}, {16384, 32768}, {0, 65535}}},
      {"colour", png_of(1, 1, 16, rgb, samples.substr(0, 7)), {{65535}, {32768}, {16384}}},
      {"colour and alpha", png_of(1, 1, 16, rgba, samples), {{65535}, {32768}, {16384}, {8192}}},
      {"interlaced", png_of(1, 1, 16, rgba, samples, "", true), {{65535}, {32768}, {16384}, {8192}}},
  };
  for (const row& r : rows) {
    const img::image image = read(r.file);
    ASSERT_EQ(image.depth[0], 16) << r.what;
    EXPECT_STREQ(image.format.data(), r.codes.size() == 4 ? "BGRA" : "BGR") << r.what;
    for (std::size_t p = 0; p < r.codes.size(); ++p) {
      raster_files::expect_codes(image, static_cast<int>(p), r.codes[p], r.what);
    }
  }
}

// Every filter after every other, by the definitions of ISO/IEC 15948, in one and in many pieces of data.
TEST_F(png, every_filter_is_undone) {
  for (const int channels : {3, 4}) {
    for (const int width : {1, 2, 5, 64}) {
      constexpr int height = 60;
      const img::image image = support::random_picture(channels == 3 ? "BGR" : "BGRA", width, height);
      const auto sample = [&](int y, int i) {
        if (y < 0 || i < 0) return 0;
        constexpr int planes[] = {2, 1, 0, 3};
        // Neighbours that are often equal, as filters meet them.
        return image.row(planes[i % channels], y)[i / channels] & 0x3;
      };
      bytes rows;
      for (int y = 0; y < height; ++y) {
        const int filter = y < 2 ? 4 - y : (y * 7 + y / 5) % 5;
        rows += static_cast<char>(filter);
        for (int i = 0; i < width * channels; ++i) {
          const int left = sample(y, i - channels);
          const int above = sample(y - 1, i);
          const int corner = i < channels ? 0 : sample(y - 1, i - channels);
          const int p = left + above - corner;
          const int nearest = std::abs(p - left) <= std::abs(p - above) && std::abs(p - left) <= std::abs(p - corner)
                                  ? left
                              : std::abs(p - above) <= std::abs(p - corner) ? above
                                                                            : corner;
          const int predictions[] = {0, left, above, (left + above) / 2, nearest};
          rows += static_cast<char>(sample(y, i) - predictions[filter]);
        }
      }
      bytes one = png_of(width, height, 8, channels == 3 ? rgb : rgba, rows);
      const bytes data = deflated(rows);
      bytes many = one.substr(0, 33);
      for (std::size_t at = 0; at < data.size(); at += 7) many += chunk("IDAT", data.substr(at, 7));
      many += chunk("IEND", "");
      for (const bytes& file : {one, many}) {
        const img::image out = read(file);
        for (int y = 0; y < height; ++y) {
          for (int i = 0; i < width * channels; ++i) {
            constexpr int planes[] = {2, 1, 0, 3};
            ASSERT_EQ(out.row(planes[i % channels], y)[i / channels], sample(y, i)) << channels << width << " " << y;
          }
        }
      }
    }
  }
}

TEST_F(png, text_becomes_metadata) {
  // tEXt and zTXt are ISO/IEC 8859-1, iTXt is UTF-8 after compression flag, method, language and translated key.
  const img::image image = read(png_of(1, 1, 8, gray, {"\0a", 2},
                                       chunk("tEXt", {"Title\0\xC4 title", 13}) + chunk("tEXt", "Nothing") +
                                           chunk("zTXt", bytes("Auth\xF6r\0\0", 8) + deflated("\xE9")) +
                                           chunk("iTXt", {"Note\0\0\0de\0Notiz\0\xE2\x82\xAC\xFF", 20}) +
                                           chunk("iTXt", {"XML:com.adobe.xmp\0\0\0\0\0<x/>", 26})));
  EXPECT_EQ(image.metadata, (std::map<std::string, std::string>{{"Title", "\u00C4 title"},
                                                                {"Nothing", ""},
                                                                {"Auth\u00F6r", "\u00E9"},
                                                                {"Note", "\u20AC?"},
                                                                {"xmp", "<x/>"}}));
}

TEST_F(png, orientation_is_applied) {
  const bytes exif = "MM" + raster_files::be16(42) + big_endian(8) + raster_files::be16(1) + raster_files::be16(0x112) +
                     raster_files::be16(3) + big_endian(1) + raster_files::be16(6) + raster_files::be16(0) +
                     big_endian(0);
  const img::image image = read(png_of(3, 1, 8, gray, {"\0abc", 4}, chunk("eXIf", exif)));
  EXPECT_EQ(image.height, 3);
  EXPECT_EQ(raster_files::samples(image, 0), "abc");
  EXPECT_EQ(image.metadata.at("exif_orientation"), "6");
}

TEST_F(png, bad_files_say_what_is_wrong) {
  const bytes good = png_of(64, 64, 8, rgb, bytes(64 * 193, '\0'));
  bytes wrong_sum = good;
  wrong_sum[20] ^= 1;
  bytes wrong_data = good;
  wrong_data[50] ^= 1;
  expect_failures({
      {"empty", "", "Unexpected end of file"},
      {"not a PNG", "GIF89a, some more bytes", "Not a PNG file"},
      {"cut in the header", good.substr(0, 20), "Unexpected end of file"},
      {"cut in the data", good.substr(0, 60), "Unexpected end of file"},
      {"wrong checksum", wrong_sum, "CRC error"},
      {"no such filter", png_of(1, 1, 8, rgb, "\7rgb"), "bad adaptive filter"},
      {"damaged data", wrong_data, "IDAT"},
      {"no data", png_of(64, 64, 8, rgb, ""), ""},
      {"too large for the file", png_of(60000, 60000, 8, rgba, bytes(60, '\0')), "Picture size 60000 x 60000"},
      {"too large for the file, one bit", png_of(60000, 60000, 1, gray, bytes(60, '\0')), "Picture size 60000 x 60000"},
      {"no width", png_of(0, 1, 8, gray, {"\0a", 2}), "Invalid IHDR data"},
      {"width above all", png_of(0x7FFFFFFF, 1, 8, gray, {"\0a", 2}), "Invalid IHDR data"},
      {"palette without colours", png_of(1, 1, 8, palette, {"\0\0", 2}), "Missing PLTE"},
  });
}

TEST_F(png, written_files_come_back) {
  struct row {
    const char* letters;
    bool ignore_alpha;
    int color_type;
    const char* read;
    std::vector<int> planes;  // of the picture, as they come back
  };
  const row rows[] = {
      {"L", false, gray, "BGR", {0, 0, 0}},         {"LA", false, gray_alpha, "BGRA", {0, 0, 0, 1}},
      {"LA", true, gray, "BGR", {0, 0, 0}},         {"BGR", false, rgb, "BGR", {0, 1, 2}},
      {"BGRA", false, rgba, "BGRA", {0, 1, 2, 3}},  {"BGRA", true, rgb, "BGR", {0, 1, 2}},
      {"BGRAZ", false, rgba, "BGRA", {0, 1, 2, 3}},
  };
  for (const row& r : rows) {
    for (int width : {1, 31, 100}) {
      const img::image image = support::random_picture(r.letters, width, 5);
      for (int compression : {0, 1}) {
        const bytes file = written(image, {compression, 90, r.ignore_alpha});
        EXPECT_EQ(file[25], r.color_type) << r.letters;
        const img::image again = read(file);
        ASSERT_STREQ(again.format.data(), r.read) << r.letters;
        for (int p = 0; p < again.plane_count(); ++p) {
          EXPECT_TRUE(again.data[p] == image.data[r.planes[p]]) << r.letters << " " << width << " plane " << p;
        }
      }
    }
  }
}

}  // namespace
