#include "byte_text.h"
#include "support/pictures.h"

namespace {

using namespace raster_files;

struct form {
  int width = 1, height = 1, bits = 24, compression = 0;
  int header = 40, planes = 1, colours = 0;
};

// The info header with what follows its first 40 bytes, palette included.
bytes info(const form& f, const bytes& rest = "") {
  if (f.header == 12) {
    return le32(12) + le16(f.width) + le16(f.height) + le16(f.planes) + le16(f.bits) + rest;
  }
  return le32(f.header) + le32(f.width) + le32(f.height) + le16(f.planes) + le16(f.bits) + le32(f.compression) +
         bytes(12, '\0') + le32(f.colours) + le32(0) + rest;
}

bytes file_of(const form& f, const bytes& rest, const bytes& data) {
  const bytes head = info(f, rest);
  return "BM" + bytes(8, '\0') + le32(14 + head.size()) + head + data;
}

const bytes palette("\x01\x02\x03\0\x11\x12\x13\0\x21\x22\x23\0\x31\x32\x33\0", 16);  // blue, green, red, 0
bytes masks(std::uint32_t red, std::uint32_t green, std::uint32_t blue) {
  return le32(red) + le32(green) + le32(blue);
}

struct bmp : file_test {
  bmp() : file_test("bmp") {}
};

TEST_F(bmp, forms) {
  struct row {
    const char* what;
    bytes file;
    std::vector<bytes> planes;
  };
  const bytes v5 = masks(0xFF0000, 0xFF00, 0xFF) + le32(0xFF000000) + bytes(124 - 56, '\0');
  const row rows[] = {
      {"24, bottom row first", file_of({1, 2}, "", bytes("BGR\0bgr\0", 8)), {"bB", "gG", "rR"}},
      {"24, top row first", file_of({1, -2}, "", bytes("bgr\0BGR\0", 8)), {"bB", "gG", "rR"}},
      {"24, padding of the last row missing", file_of({1, 1}, "", "bgr"), {"b", "g", "r"}},
      {"24, OS/2", file_of({2, 1, 24, 0, 12}, "", "bgrBGR"), {"bB", "gG", "rR"}},
      {"32, fourth byte unused", file_of({2, 1, 32}, "", bytes("bgr\0BGR\0", 8)), {"bB", "gG", "rR"}},
      {"32, alpha that is not told", file_of({2, 1, 32}, "", bytes("bgr\0BGRa", 8)), {"bB", "gG", "rR", {"\0a", 2}}},
      {"32, alpha told", file_of({1, 1, 32, 3, 124}, v5, "bgra"), {"b", "g", "r", "a"}},
      {"32, alpha told after the header",
       file_of({1, 1, 32, 6}, masks(0xFF0000, 0xFF00, 0xFF) + le32(0xFF000000), "bgra"),
       {"b", "g", "r", "a"}},
      {"32, red lowest", file_of({1, 1, 32, 3}, masks(0xFF, 0xFF00, 0xFF0000), "rgbx"), {"b", "g", "r"}},
      {"16, five bits each",
       file_of({2, 1, 16}, "", le16(0x8000 | 31 << 10 | 16 << 5 | 3) + le16(0)),
       {{"\x18\0", 2}, {"\x84\0", 2}, {"\xFF\0", 2}}},
      {"16, 5 6 5",
       file_of({1, 1, 16, 3}, masks(0xF800, 0x07E0, 0x001F), le16(0xF800 | 32 << 5 | 1)),
       {"\x08", "\x82", "\xFF"}},
      {"16, 4 4 4 4",
       file_of({1, 1, 16, 3, 56}, masks(0x0F00, 0x00F0, 0x000F) + le32(0xF000), le16(0x8421)),
       {"\x11", "\x22", "\x44", "\x88"}},
      {"8",
       file_of({3, 1, 8, 0, 40, 1, 4}, palette, bytes("\1\0\2", 3)),
       {"\x11\x01\x21", "\x12\x02\x22", "\x13\x03\x23"}},
      {"8, OS/2, three bytes a colour", file_of({1, 1, 8, 0, 12}, "abcABC" + bytes(762, '\0'), "\1"), {"A", "B", "C"}},
      {"8, colour that is not there",
       file_of({1, 1, 8, 0, 40, 1, 4}, palette, "\x77"),
       {{"\0", 1}, {"\0", 1}, {"\0", 1}}},
      {"4",
       file_of({3, 1, 4, 0, 40, 1, 4}, palette, bytes("\x12\x30\0\0", 4)),
       {"\x11\x21\x31", "\x12\x22\x32", "\x13\x23\x33"}},
      {"2",
       file_of({4, 1, 2, 0, 40, 1, 4}, palette, bytes("\x1B\0\0\0", 4)),
       {"\x01\x11\x21\x31", "\x02\x12\x22\x32", "\x03\x13\x23\x33"}},
      {"1",
       file_of({3, 1, 1, 0, 40, 1, 2}, palette.substr(0, 8), bytes("\x40\0\0\0", 4)),
       {"\x01\x11\x01", "\x02\x12\x02", "\x03\x13\x03"}},
      // A run of two, three as they stand and a fill byte, the row's end; then a step, and the end of the picture.
      {"RLE 8",
       file_of({5, 2, 8, 1, 40, 1, 4}, palette, bytes("\2\1\0\3\2\3\1\0\0\0\0\2\1\0\1\2\0\1", 18)),
       {"\x01\x21\x01\x01\x01\x11\x11\x21\x31\x11", "\x02\x22\x02\x02\x02\x12\x12\x22\x32\x12",
        "\x03\x23\x03\x03\x03\x13\x13\x23\x33\x13"}},
      {"RLE 4",
       file_of({6, 1, 4, 2, 40, 1, 4}, palette, bytes("\3\x12\0\3\x31\x20\0\1", 8)),
       {"\x11\x21\x11\x31\x11\x21", "\x12\x22\x12\x32\x12\x22", "\x13\x23\x13\x33\x13\x23"}},
      {"without a file header", info({1, 1, 24}) + "bgr", {"b", "g", "r"}},
  };
  for (const row& r : rows) {
    const img::image image = read(r.file);
    ASSERT_STREQ(image.format.data(), r.planes.size() == 4 ? "BGRA" : "BGR") << r.what;
    for (std::size_t p = 0; p < r.planes.size(); ++p) {
      EXPECT_EQ(samples(image, static_cast<int>(p)), r.planes[p]) << r.what << " plane " << p;
    }
  }
  const img::image deep =
      read(file_of({1, 1, 32, 3}, masks(0x3FF00000, 0xFFC00, 0x3FF), le32(1023U << 20 | 512U << 10 | 1)));
  ASSERT_EQ(deep.depth[0], 16);
  expect_codes(deep, 2, {65535}, "10 bits");
  expect_codes(deep, 1, {32800}, "10 bits");
  expect_codes(deep, 0, {64}, "10 bits");
}

TEST_F(bmp, bad_files_say_what_is_wrong) {
  const char* const eof = "Unexpected end of file";
  expect_failures({
      {"empty", "", eof},
      {"cut in the header", file_of({1, 1}, "", "").substr(0, 40), eof},
      {"header of no version", "BM" + bytes(12, '\0') + le32(500) + bytes(500, '\0'), "Invalid signature"},
      {"no width", file_of({0, 1}, "", "bgr"), "Invalid width"},
      {"negative width", file_of({-1, 1}, "", "bgr"), "Invalid width"},
      {"no height", file_of({1, 0}, "", "bgr"), "Invalid height"},
      {"height beyond all", file_of({1, INT32_MIN}, "", "bgr"), "Invalid height"},
      {"two planes", file_of({1, 1, 24, 0, 40, 2}, "", "bgr"), "Invalid number of planes"},
      {"7 bits", file_of({1, 1, 7}, "", "bgr"), "Invalid/unsupported bit depth"},
      {"a JPEG inside", file_of({1, 1, 24, 4}, "", "bgr"), "Unsupported compression type"},
      {"RLE 8 of 4 bits", file_of({1, 1, 4, 1}, "", "bgr"), "Unsupported compression type"},
      {"a mask with a hole", file_of({1, 1, 16, 3}, masks(5, 0, 0), "bg"), "Unsupported compression type"},
      {"a byte short", file_of({2, 1}, "", "bgrbg"), eof},
      {"too large for the file", file_of({65535, 65535, 32}, "", "bgrx"), eof},
      {"too large for the file, packed", file_of({65535, 65535, 8, 1, 40, 1, 1}, le32(0), bytes("\0\1", 2)),
       "Picture size"},
      {"cut in a run", file_of({5, 1, 8, 1, 40, 1, 4}, palette, "\2"), eof},
      {"cut in the palette", file_of({5, 1, 8, 0, 40, 1, 0}, palette, "").substr(0, 60), eof},
  });
}

TEST_F(bmp, written_files_come_back) {
  for (const char* letters : {"L", "LA", "BGR", "BGRA"}) {
    for (int width : {1, 3, 301}) {
      for (int compression : {0, 2}) {
        expect_back(support::random_picture(letters, width, 5), compression);
      }
    }
  }
  // Runs of a gray picture, of three equal ones at least.
  img::image gray("L", 8, 8, 1);
  std::memcpy(gray.data[0].data(), "aaaabcdd", 8);
  const bytes file = written(gray, {2, 90, false});
  EXPECT_EQ(file.substr(14 + 40 + 1024), bytes("\4a\0\4bcdd\0\0\0\1", 12));
}

}  // namespace
