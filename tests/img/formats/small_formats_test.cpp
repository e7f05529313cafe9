// Formats that are read only and have few variants: IFF, PIC, YUV and digital negatives.
#include "byte_text.h"
#include "paths.h"
#include "support/pictures.h"

namespace {

using namespace raster_files;

bytes chunk(const bytes& name, const bytes& data, std::size_t alignment = 2) {
  return name + be32(data.size()) + data + bytes((alignment - data.size() % alignment) % alignment, '\0');
}

// --- IFF

bytes tiled_of(int width, int height, int flags, int depth, int compression, const std::vector<bytes>& tiles) {
  bytes group = "TBMP";
  for (const bytes& tile : tiles) group += chunk("RGBA", tile, 4);
  return chunk("FOR4",
               "CIMG" +
                   chunk("TBHD",
                         be32(width) + be32(height) + be32(0) + be32(flags) + be16(depth) + be16(tiles.size()) +
                             be32(compression) + bytes(8, '\0'),
                         4) +
                   chunk("FOR4", group, 4),
               4);
}
bytes corner(int left, int bottom, int right, int top) {
  return be16(left) + be16(bottom) + be16(right) + be16(top);
}

bytes planar_of(int width, int height, int planes, int mask, int compression, const bytes& palette, const bytes& body,
                std::uint32_t mode = 0, const bytes& type = "ILBM") {
  return chunk("FORM", type +
                           chunk("BMHD", be16(width) + be16(height) + be32(0) +
                                             bytes{static_cast<char>(planes), static_cast<char>(mask),
                                                   static_cast<char>(compression), 0} +
                                             be16(1) + bytes(6, '\0')) +
                           (palette.empty() ? bytes() : chunk("CMAP", palette)) + chunk("CAMG", be32(mode)) +
                           chunk("BODY", body));
}

struct iff : file_test {
  iff() : file_test("iff") {}
};

TEST_F(iff, forms) {
  struct row {
    const char* what;
    bytes file;
    std::vector<bytes> planes;
  };
  const bytes palette("\1\2\3\x11\x12\x13\x21\x22\x23\x31\x32\x33", 12);
  const row rows[] = {
      {"tile as it stands, alpha first",
       tiled_of(2, 1, 3, 0, 0, {corner(0, 0, 1, 0) + "abgrABGR"}),
       {"bB", "gG", "rR", "aA"}},
      {"tiles, bottom row first",
       tiled_of(1, 2, 1, 0, 0, {corner(0, 0, 0, 0) + "bgr", corner(0, 1, 0, 1) + "BGR"}),
       {"Bb", "Gg", "Rr"}},
      {"packed tile",
       tiled_of(4, 1, 1, 0, 1,
                {corner(0, 0, 3, 0) + "\x83"
                                      "b\1gG\x81x\x83r"}),
       {"bbbb", "gGxx", "rrrr"}},
      {"a tile missing", tiled_of(2, 1, 1, 0, 0, {corner(0, 0, 0, 0) + "bgr"}), {{"b\0", 2}, {"g\0", 2}, {"r\0", 2}}},
      // Planes of pixels 0 1 2 3: lower bits 0101, upper bits 0011.
      {"planes and palette",
       planar_of(4, 1, 2, 0, 0, palette, bytes("\x50\0\x30\0", 4)),
       {"\3\x13\x23\x33", "\2\x12\x22\x32", "\1\x11\x21\x31"}},
      {"packed planes",
       planar_of(4, 1, 2, 0, 1, palette, bytes("\1\x50\0\xFF\x30", 5)),
       {"\3\x13\x23\x33", "\2\x12\x22\x32", "\1\x11\x21\x31"}},
      {"a colour that is clear",
       planar_of(2, 1, 1, 2, 0, palette, bytes("\x40\0", 2)),
       {"\3\x13", "\2\x12", "\1\x11", {"\xFF\0", 2}}},
      {"a plane of the mask",
       planar_of(2, 1, 1, 1, 0, palette, bytes("\x40\0\x80\0", 4)),
       {"\3\x13", "\2\x12", "\1\x11", {"\xFF\0", 2}}},
      {"no palette", planar_of(2, 1, 1, 0, 0, "", bytes("\x40\0", 2)), {{"\0\xFF", 2}, {"\0\xFF", 2}, {"\0\xFF", 2}}},
      {"bytes",
       planar_of(3, 1, 8, 0, 0, palette, bytes("\2\1\0\0", 4), 0, "PBM "),
       {"\x23\x13\3", "\x22\x12\2", "\x21\x11\1"}},
      {"bytes, which have no plane of the mask",
       planar_of(3, 1, 8, 1, 0, palette, bytes("\2\1\0\0", 4), 0, "PBM "),
       {"\x23\x13\3", "\x22\x12\2", "\x21\x11\1"}},
  };
  for (const row& r : rows) {
    const img::image image = read(r.file);
    ASSERT_STREQ(image.format.data(), r.planes.size() == 4 ? "BGRA" : "BGR") << r.what;
    for (std::size_t p = 0; p < r.planes.size(); ++p)
      EXPECT_EQ(samples(image, static_cast<int>(p)), r.planes[p]) << r.what << " plane " << p;
  }
  // Codes of six bits, lowest plane first: colour 1; red 15; green 4; blue 0.
  const int codes[] = {0x01, 0x2F, 0x34, 0x10};
  bytes body;
  for (int plane = 0; plane < 6; ++plane) {
    int bits = 0;
    for (int x = 0; x < 4; ++x) bits |= (codes[x] >> plane & 1) << (7 - x);
    body += bytes{static_cast<char>(bits), 0};
  }
  const img::image held = read(planar_of(4, 1, 6, 0, 0, palette, body, 0x800));
  EXPECT_EQ(samples(held, 2), "\x11\xFF\xFF\xFF");
  EXPECT_EQ(samples(held, 1), "\x12\x12\x44\x44");
  EXPECT_EQ(samples(held, 0), bytes("\x13\x13\x13\0", 4));
  bytes true_color;
  for (int plane = 0; plane < 24; ++plane) true_color += bytes{static_cast<char>((0x636261 >> plane & 1) << 7), 0};
  const img::image deep = read(planar_of(1, 1, 24, 0, 0, "", true_color));
  EXPECT_EQ(samples(deep, 2) + samples(deep, 1) + samples(deep, 0), "abc");
  const img::image words = read(tiled_of(1, 1, 1, 1, 0, {corner(0, 0, 0, 0) + be16(7) + be16(300) + be16(30001)}));
  expect_codes(words, 2, {30001}, "16 bits");
  expect_codes(words, 0, {7}, "16 bits");
}

TEST_F(iff, bad_files_say_what_is_wrong) {
  expect_failures({
      {"empty", "", "Unexpected end of file"},
      {"not a picture", chunk("FORM", "8SVX" + bytes(40, 'x')), "Invalid signature"},
      {"alpha alone", tiled_of(1, 1, 2, 0, 0, {corner(0, 0, 0, 0) + "a"}), "Alpha-only images are not supported"},
      {"coding of tiles", tiled_of(1, 1, 1, 0, 2, {corner(0, 0, 0, 0) + "bgr"}), "Unsupported compression"},
      {"tile outside", tiled_of(1, 1, 1, 0, 0, {corner(0, 0, 1, 0) + "bgrbgr"}), "Invalid tile data"},
      {"run beyond the tile", tiled_of(2, 1, 1, 0, 1, {corner(0, 0, 1, 0) + "\x87r"}), "Invalid tile data"},
      {"tile cut", tiled_of(2, 1, 1, 0, 0, {corner(0, 0, 1, 0) + "bgr"}), "Unexpected end of file"},
      {"no tiles' header", chunk("FOR4", "CIMG" + bytes(8, '\0')), "Invalid image dimensions"},
      {"tiles too large", tiled_of(60000, 60000, 1, 0, 1, {}), "Picture size 60000 x 60000"},
      {"coding of planes", planar_of(1, 1, 1, 0, 2, "", "x"), "Unsupported compression"},
      {"mask", planar_of(1, 1, 1, 3, 0, "", "x"), "Unsupported mask type"},
      {"nine planes", planar_of(1, 1, 9, 0, 0, "", "x"), "Unsupported number of planes"},
      {"no width", planar_of(0, 1, 1, 0, 0, "", "x"), "Invalid image dimensions"},
      {"planes cut", planar_of(4, 4, 2, 0, 0, "", "xx"), "Unexpected end of file"},
      {"packed planes cut", planar_of(4, 4, 2, 0, 1, "", "\xFF"), "Unexpected end of file"},
  });
}

// --- PIC

bytes pic_of(int width, int height, const bytes& packets, const bytes& data) {
  return be32(0x5380F634) + be32(0x3F800000) + bytes("made by hand") + bytes(68, '\0') + "PICT" + be16(width) +
         be16(height) + be32(0x3F800000) + be16(3) + be16(0) + packets + data;
}
const bytes plain_rgb("\0\x08\0\xE0", 4), mixed_rgb("\0\x08\2\xE0", 4), pure_rgb("\0\x08\1\xE0", 4),
    mixed_rgb_and_alpha("\1\x08\2\xE0\0\x08\0\x10", 8);

struct pic : file_test {
  pic() : file_test("pic") {}
};

TEST_F(pic, forms) {
  struct row {
    const char* what;
    bytes file;
    std::vector<bytes> planes;
  };
  const row rows[] = {
      {"plain", pic_of(2, 1, plain_rgb, "rgbRGB"), {"bB", "gG", "rR"}},
      {"runs only", pic_of(3, 1, pure_rgb, "\2rgb\1RGB"), {"bbB", "ggG", "rrR"}},
      {"mixed", pic_of(4, 1, mixed_rgb, bytes("\x81rgb\1RGBxyz", 11)), {"bbBz", "ggGy", "rrRx"}},
      {"a long run", pic_of(3, 1, mixed_rgb, bytes("\x80\0\3rgb", 6)), {"bbb", "ggg", "rrr"}},
      {"alpha in a packet of its own", pic_of(2, 1, mixed_rgb_and_alpha, "\x81rgbaA"), {"bb", "gg", "rr", "aA"}},
      {"no blue", pic_of(1, 1, bytes("\0\x08\0\xC0", 4), "rg"), {{"\0", 1}, "g", "r"}},
  };
  for (const row& r : rows) {
    const img::image image = read(r.file);
    ASSERT_STREQ(image.format.data(), r.planes.size() == 4 ? "BGRA" : "BGR") << r.what;
    EXPECT_EQ(image.metadata.at("Comment"), "made by hand");
    for (std::size_t p = 0; p < r.planes.size(); ++p)
      EXPECT_EQ(samples(image, static_cast<int>(p)), r.planes[p]) << r.what << " plane " << p;
  }
  EXPECT_EQ(support::failure_of(path, [&] { img::save(support::picture("BGR", 1, 1), path, nullptr, {}); }),
            "io::exception: Not implemented");
}

TEST_F(pic, bad_files_say_what_is_wrong) {
  expect_failures({
      {"empty", "", "Unexpected end of file"},
      {"not a picture", bytes(200, 'x'), "Invalid signature"},
      {"no width", pic_of(0, 1, plain_rgb, "rgb"), "Invalid width/height"},
      {"16 bits", pic_of(1, 1, bytes("\0\x10\0\xE0", 4), "rgbrgb"), "Invalid/unsupported channel bit depth"},
      {"coding", pic_of(1, 1, bytes("\0\x08\3\xE0", 4), "rgb"), "Invalid/unsupported channel encoding"},
      {"channel", pic_of(1, 1, bytes("\0\x08\0\x01", 4), "rgb"), "Invalid/unsupported channel code"},
      {"run beyond the row", pic_of(2, 1, mixed_rgb, "\x83rgb"), "Scanline overrun"},
      {"pixels beyond the row", pic_of(2, 1, mixed_rgb, "\3rgbrgbrgbrgb"), "Scanline overrun"},
      {"cut", pic_of(2, 1, plain_rgb, "rgbRG"), "Unexpected end of file"},
      {"too large for the file", pic_of(60000, 60000, plain_rgb, "rgb"), "Picture size 60000 x 60000"},
  });
}

// --- YUV

struct yuv : file_test {
  yuv() : file_test("yuv") {}
};

TEST_F(yuv, size_and_layout_follow_from_the_bytes) {
  // BT.601 white, black and a red of 81, 90, 240; BT.709 has the same red at 63, 102, 240.
  struct row {
    const char* what;
    bytes file;
    int width, height, red, green, blue;
  };
  const auto planes = [](std::size_t pixels, std::size_t differences, const char* yuv) {
    return bytes(pixels, yuv[0]) + bytes(differences, yuv[1]) + bytes(differences, yuv[2]);
  };
  bytes words;
  for (int i = 0; i < 720 * 486 / 2; ++i) words += "\x5A\x51\xF0\x51";
  const row rows[] = {
      {"planes, half the differences, white", planes(352 * 288, 176 * 144, "\xEB\x80\x80"), 352, 288, 255, 255, 255},
      {"planes, all differences, red", planes(720 * 576, 720 * 576, "\x51\x5A\xF0"), 720, 576, 254, 0, 0},
      {"words, red", words, 720, 486, 254, 0, 0},
      {"high definition, red", planes(1280 * 720, 640 * 360, "\x3F\x66\xF0"), 1280, 720, 255, 1, 0},
  };
  for (const row& r : rows) {
    const img::image image = read(r.file);
    EXPECT_EQ(image.width, r.width) << r.what;
    ASSERT_EQ(image.height, r.height) << r.what;
    const int expected[] = {r.blue, r.green, r.red};
    for (int p = 0; p < 3; ++p)
      EXPECT_NEAR(image.row(p, r.height - 1)[r.width - 1], expected[p], 1) << r.what << " plane " << p;
  }
  // A size in the name serves where the bytes are those of several frames.
  const std::string named = folder / "walk_20x18_6fps.yuv";
  support::write_file(named, planes(360, 90, "\xEB\x80\x80") + planes(360, 90, "\x10\x80\x80"));
  img::image image;
  img::load(image, named);
  EXPECT_EQ(image.width, 20);
  EXPECT_EQ(image.row(0, 17)[19], 255);
  expect_failures({{"empty", "", "Unrecognized YUV resolution or format"},
                   {"a byte more", bytes(352 * 288 * 3 / 2 + 1, '\0'), "Unrecognized YUV resolution or format"}});
}

// --- Digital negatives

struct dng : file_test {
  dng() : file_test("dng") {}
};

// Bare samples of 16 bits, of one gray: a mosaic of red, green / green, blue, or all three of each pixel.
bytes negative_of(int width, int height, int level, bool linear) {
  const bytes matrix[] = {le32(1) + le32(1), le32(0) + le32(1)};
  bytes unit;
  for (int i = 0; i < 9; ++i) unit += matrix[i % 4 != 0];
  const bytes neutral = matrix[0] + matrix[0] + matrix[0];
  struct tag {
    int number, type, count;
    bytes value;
  };
  const int planes = linear ? 3 : 1;
  const std::size_t size = std::size_t{2} * width * height * planes;
  std::vector<tag> tags = {{254, 4, 1, le32(0)},
                           {256, 4, 1, le32(width)},
                           {257, 4, 1, le32(height)},
                           {258, 3, planes, linear ? le16(16) + le16(16) + le16(16) : le16(16)},
                           {259, 3, 1, le16(1)},
                           {262, 3, 1, le16(linear ? 34892 : 32803)},
                           {273, 4, 1, le32(0)},
                           {277, 3, 1, le16(planes)},
                           {278, 4, 1, le32(height)},
                           {279, 4, 1, le32(size)},
                           {33421, 3, 2, le16(2) + le16(2)},
                           {33422, 1, 4, bytes("\0\1\1\2", 4)},
                           {50706, 1, 4, bytes("\1\4\0\0", 4)},
                           {50708, 2, 9, bytes("Made Here\0", 10).substr(0, 9)},
                           {50717, 3, 1, le16(65535)},
                           {50721, 10, 9, unit},
                           {50728, 5, 3, neutral},
                           {50778, 3, 1, le16(21)}};
  if (linear) std::erase_if(tags, [](const tag& t) { return t.number == 33421 || t.number == 33422; });
  std::size_t end = 8 + 2 + 12 * tags.size() + 4;
  for (const tag& t : tags) end += t.value.size() > 4 ? t.value.size() + t.value.size() % 2 : 0;
  bytes directory = le16(tags.size()), data;
  for (tag& t : tags) {
    if (t.number == 273) t.value = le32(end);
    directory += le16(t.number) + le16(t.type) + le32(t.count);
    if (t.value.size() > 4) {
      directory += le32(8 + 2 + 12 * tags.size() + 4 + data.size());
      data += t.value + bytes(t.value.size() % 2, '\0');
    } else {
      directory += t.value + bytes(4 - t.value.size(), '\0');
    }
  }
  bytes pixels;
  for (std::size_t i = 0; i < size / 2; ++i) pixels += le16(level);
  return bytes("II*\0", 4) + le32(8) + directory + le32(0) + data + pixels;
}

TEST_F(dng, negatives_are_developed) {
  const std::string samples = KESTRIN_SAMPLES_DIR "/dng/";
  const std::string mosaic = folder / "mosaic.dng", linear = folder / "linear.dng", bright = folder / "bright.dng";
  support::write_file(mosaic, negative_of(32, 24, 20000, false));
  support::write_file(linear, negative_of(32, 24, 20000, true));
  // White is the file's own, however near to it the brightest sample comes.
  support::write_file(bright, negative_of(32, 24, 60000, false));
  for (const auto& [name, width, height] : {std::tuple{mosaic, 32, 24},
                                            {bright, 32, 24},
                                            {linear, 32, 24},
                                            {samples + "bayer.dng", 256, 172},
                                            {samples + "DSC8695.dng", 600, 400}}) {
    if (!std::filesystem::exists(name)) continue;
    img::image image;
    img::load(image, name);
    EXPECT_EQ(image.width, width) << name;
    EXPECT_EQ(image.height, height) << name;
    EXPECT_EQ(image.depth[0], 16);
    const img::picture_header header = img::find_format(name)->read_header(name, {});
    EXPECT_EQ(header.width, width);
    EXPECT_EQ(header.height, height);
    const double expected = (name == bright ? 60000.0 : 20000.0) / 65535;
    for (int p = 0; p < 3 && width == 32; ++p) EXPECT_NEAR(halves(image, p)[12 * 32 + 16], expected, 0.001);
    const bytes whole = support::read_file(name);
    expect_failures({{"cut in the header", whole.substr(0, 100), ""},
                     {"cut in the pixels", whole.substr(0, whole.size() / 2), ""}});
  }
}

TEST_F(dng, bad_files_say_what_is_wrong) {
  expect_failures({{"empty", "", "Unexpected end of file"},
                   {"no TIFF file", "GIF89a and more", "Invalid DNG file"},
                   {"nothing of a negative", bytes("II*\0\x08\0\0\0\1\0\0\1\3\0\1\0\0\0\1\0\0\0\0\0\0\0", 26),
                    "Invalid DNG file"}});
}

}  // namespace
