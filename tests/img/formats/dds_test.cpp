#include "byte_text.h"

namespace {

using namespace raster_files;

bytes le64(std::uint64_t value) {
  return number(value, 8, false);
}

bytes dds_of(int width, int height, const bytes& format, const bytes& rest, int size = 124) {
  return "DDS " + le32(size) + le32(0) + le32(height) + le32(width) + bytes(56, '\0') + format + bytes(20, '\0') + rest;
}
bytes coded(const bytes& code) {
  return le32(32) + le32(4) + code + bytes(20, '\0');
}
bytes fields(int flags, int bits, std::uint32_t red, std::uint32_t green, std::uint32_t blue, std::uint32_t alpha) {
  return le32(32) + le32(flags) + le32(0) + le32(bits) + le32(red) + le32(green) + le32(blue) + le32(alpha);
}
bytes numbered(int format) {
  return le32(format) + le32(3) + le32(0) + le32(1) + le32(0);
}
const bytes longer = coded("DX10");

struct dds : file_test {
  dds() : file_test("dds") {}
};

TEST_F(dds, plain_pictures) {
  struct row {
    const char* what;
    bytes file;
    std::vector<bytes> planes;
  };
  const row rows[] = {
      {"24", dds_of(2, 1, fields(0x40, 24, 0xFF0000, 0xFF00, 0xFF, 0), "bgrBGR"), {"bB", "gG", "rR"}},
      {"32 and alpha",
       dds_of(1, 1, fields(0x41, 32, 0xFF, 0xFF00, 0xFF0000, 0xFF000000), "rgba"),
       {"b", "g", "r", "a"}},
      {"alpha that is not told",
       dds_of(1, 1, fields(0x40, 32, 0xFF, 0xFF00, 0xFF0000, 0xFF000000), "rgba"),
       {"b", "g", "r"}},
      {"16",
       dds_of(1, 1, fields(0x40, 16, 0xF800, 0x7E0, 0x1F, 0), le16(0xF800 | 32 << 5 | 1)),
       {"\x08", "\x82", "\xFF"}},
      {"gray", dds_of(2, 1, fields(0x20000, 8, 0xFF, 0, 0, 0), "ab"), {"ab", "ab", "ab"}},
      {"by number", dds_of(1, 1, longer, numbered(28) + "rgba"), {"b", "g", "r", "a"}},
  };
  for (const row& r : rows) {
    const img::image image = read(r.file);
    ASSERT_STREQ(image.format.data(), r.planes.size() == 4 ? "BGRA" : "BGR") << r.what;
    for (std::size_t p = 0; p < r.planes.size(); ++p)
      EXPECT_EQ(samples(image, static_cast<int>(p)), r.planes[p]) << r.what << " plane " << p;
  }
  const img::image halves_in_file =
      read(dds_of(1, 1, coded(le32(113)), le16(0x3800) + le16(0x4000) + le16(0xBC00) + le16(0x3C00)));
  EXPECT_EQ(halves(halves_in_file, 2), std::vector<double>{0.5});
  EXPECT_EQ(halves(halves_in_file, 0), std::vector<double>{-1.0});
  expect_codes(read(dds_of(1, 1, longer, numbered(24) + le32(1023 | 512 << 10))), 1, {32800}, "10 bits");
}

TEST_F(dds, blocks) {
  // Pixel 0 has index 0, pixel 1 index 1, and so on to 3; then 0.
  const bytes colours = le16(0xF800) + le16(0x001F) + bytes("\xE4\0\0\0", 4);
  const bytes reversed = le16(0x001F) + le16(0xF800) + bytes("\xE4\0\0\0", 4);
  struct row {
    const char* what;
    bytes file;
    std::vector<bytes> planes;  // of the first four pixels
  };
  const bytes values = bytes("\xE0\x70", 2) + number(0 | 1 << 3 | 2 << 6 | 7 << 9, 6, false);
  const row rows[] = {
      {"BC1",
       dds_of(4, 4, coded("DXT1"), colours),
       {{"\0\xFF\x55\xAA", 4}, {"\0\0\0\0", 4}, {"\xFF\0\xAA\x55", 4}, "\xFF\xFF\xFF\xFF"}},
      {"BC1, clear",
       dds_of(4, 4, coded("DXT1"), reversed),
       {{"\xFF\0\x80\0", 4}, {"\0\0\0\0", 4}, {"\0\xFF\x80\0", 4}, {"\xFF\xFF\xFF\0", 4}}},
      {"BC2",
       dds_of(4, 4, coded("DXT3"), le64(0xF731) + reversed),
       {{"\xFF\0\xAA\x55", 4}, {"\0\0\0\0", 4}, {"\0\xFF\x55\xAA", 4}, "\x11\x33\x77\xFF"}},
      {"BC3",
       dds_of(4, 4, coded("DXT5"), values + colours),
       {{"\0\xFF\x55\xAA", 4}, {"\0\0\0\0", 4}, {"\xFF\0\xAA\x55", 4}, "\xE0\x70\xD0\x80"}},
      {"BC4", dds_of(4, 4, coded("BC4U"), values), {"\xE0\x70\xD0\x80", "\xE0\x70\xD0\x80", "\xE0\x70\xD0\x80"}},
      {"BC5",
       dds_of(4, 4, coded("ATI2"), values + bytes("\x0A\x0B", 2) + number(1 | 6 << 3 | 7 << 6, 6, false)),
       {{"\0\0\0\0", 4}, {"\x0B\0\xFF\x0A", 4}, "\xE0\x70\xD0\x80"}},
      // Mode 6: ends of 7 bits and a low one, indices of 4 bits, the first of 3. Red 0 to 255, green 255, blue 0.
      {"BC7",
       dds_of(4, 4, longer,
              numbered(98) +
                  le64(1ULL << 6 | 0ULL << 7 | 127ULL << 14 | 127ULL << 21 | 127ULL << 28 | 0ULL << 35 | 0ULL << 42 |
                       127ULL << 49 | 127ULL << 56 | 1ULL << 63) +
                  le64(1ULL | 0ULL << 1 | 15ULL << 4 | 8ULL << 8)),
       {"\1\1\1\1", "\xFF\xFF\xFF\xFF", "\1\xFF\x88\1", "\xFF\xFF\xFF\xFF"}},
  };
  for (const row& r : rows) {
    const img::image image = read(r.file);
    ASSERT_STREQ(image.format.data(), r.planes.size() == 4 ? "BGRA" : "BGR") << r.what;
    for (std::size_t p = 0; p < r.planes.size(); ++p)
      EXPECT_EQ(samples(image, static_cast<int>(p)).substr(0, 4), r.planes[p]) << r.what << " plane " << p;
  }
  // A mode of BC6H with one part: ends of 10 bits as they are. 1023 is the largest half, 0 is 0.
  const img::image light =
      read(dds_of(1, 1, longer, numbered(95) + le64(3ULL | 1023ULL << 5 | 0ULL << 15 | 512ULL << 25) + le64(0)));
  EXPECT_EQ(light.data[2].as<std::uint16_t>()[0], 0x7BFF);
  EXPECT_EQ(light.data[1].as<std::uint16_t>()[0], 0);
  EXPECT_NEAR(light.data[0].as<std::uint16_t>()[0], 0x7BFF / 2, 0x20);
  // Blocks reach over the edge.
  EXPECT_EQ(read(dds_of(5, 3, coded("DXT1"), colours + reversed)).row(0, 2)[4], 0xFF);
}

TEST_F(dds, bad_files_say_what_is_wrong) {
  expect_failures({
      {"empty", "", "Unexpected end of file"},
      {"not a surface", bytes(200, 'x'), "Invalid signature"},
      {"header size", dds_of(1, 1, coded("DXT1"), bytes(8, 'x'), 100), "Invalid header size"},
      {"no height", dds_of(1, 0, coded("DXT1"), bytes(8, 'x')), "Invalid height"},
      {"no width", dds_of(0, 1, coded("DXT1"), bytes(8, 'x')), "Invalid width"},
      {"format size", dds_of(1, 1, bytes(32, '\0'), "x"), "Invalid pixel format size"},
      {"code", dds_of(1, 1, coded("ETC1"), bytes(8, 'x')), "Unsupported compression"},
      {"number", dds_of(1, 1, longer, numbered(999) + bytes(16, 'x')), "Unsupported format"},
      {"YUV", dds_of(1, 1, fields(0x200, 16, 0, 0, 0, 0), "xx"), "Unsupported format"},
      {"bits", dds_of(1, 1, fields(0x40, 12, 0xF00, 0xF0, 0xF, 0), "xx"), "Unsupported bit count"},
      {"a byte short", dds_of(4, 4, coded("DXT5"), bytes(15, 'x')), "Unexpected end of file"},
      {"too large for the file", dds_of(65535, 65535, coded("DXT5"), bytes(16, 'x')), "Unexpected end of file"},
  });
}

}  // namespace
