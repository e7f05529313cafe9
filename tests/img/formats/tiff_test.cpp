#include <libdeflate.h>
#include <tiffio.h>

#include "byte_text.h"
#include "support/levels.h"
#include "support/pictures.h"

namespace {

using namespace raster_files;

struct tag {
  int number;
  std::vector<std::uint64_t> values;
  bytes text = {};  // for texts and raw bytes, in place of values
  int type = 3;     // 1 bytes, 2 text, 3 words, 4 long words, 5 fractions
};

// One directory and its data in any of the four flavours: the data first, then the directory.
struct flavour {
  bool big_endian = false;
  bool big = false;

  bytes n(std::uint64_t value, int size) const { return number(value, size, big_endian); }
  int wide() const { return big ? 8 : 4; }
  bytes header(std::uint64_t first) const {
    return (big_endian ? "MM" : "II") + n(big ? 43 : 42, 2) + (big ? n(8, 2) + n(0, 2) : bytes()) + n(first, wide());
  }
  // A directory at `position` with its lists after it.
  bytes directory(const std::vector<tag>& tags, std::uint64_t position, std::uint64_t next = 0) const {
    bytes lists, out = n(tags.size(), big ? 8 : 2);
    const std::uint64_t lists_at = position + out.size() + tags.size() * (big ? 20 : 12) + wide();
    for (const tag& t : tags) {
      bytes value = t.text;
      const int size = t.type == 3 ? 2 : 4;
      for (const std::uint64_t v : t.values) value += n(v, size) + (t.type == 5 ? n(1, 4) : bytes());
      out += n(t.number, 2) + n(t.type, 2) + n(t.text.empty() ? t.values.size() : t.text.size(), wide());
      if (value.size() <= static_cast<std::size_t>(wide())) {
        value.resize(wide());
        out += value;
      } else {
        out += n(lists_at + lists.size(), wide());
        lists += value;
      }
    }
    return out + n(next, wide()) + lists;
  }
};

struct form {
  int width = 1, height = 1;
  std::vector<std::uint64_t> bits{8, 8, 8};
  int compression = 1, photometric = 2;
  std::vector<tag> more = {};
  flavour kind = {};
  std::vector<bytes> blocks = {};  // strips
};

bytes tiff_of(const form& f) {
  const flavour& k = f.kind;
  const std::uint64_t start = k.header(0).size();
  bytes data;
  std::vector<std::uint64_t> offsets, sizes;
  for (const bytes& block : f.blocks) {
    offsets.push_back(start + data.size());
    sizes.push_back(block.size());
    data += block;
  }
  std::vector<tag> tags = {{256, {static_cast<std::uint64_t>(f.width)}},
                           {257, {static_cast<std::uint64_t>(f.height)}},
                           {258, f.bits},
                           {259, {static_cast<std::uint64_t>(f.compression)}},
                           {262, {static_cast<std::uint64_t>(f.photometric)}},
                           {277, {f.bits.size()}}};
  bool tiled = false;
  for (const tag& t : f.more) tiled = tiled || t.number == 322;
  tags.push_back({tiled ? 324 : 273, offsets, "", 4});
  tags.push_back({tiled ? 325 : 279, sizes, "", 4});
  for (const tag& t : f.more) tags.push_back(t);
  return k.header(start + data.size()) + data + k.directory(tags, start + data.size());
}

bytes deflated(const bytes& data) {
  libdeflate_compressor* compressor = libdeflate_alloc_compressor(6);
  bytes out(libdeflate_zlib_compress_bound(compressor, data.size()), '\0');
  out.resize(libdeflate_zlib_compress(compressor, data.data(), data.size(), out.data(), out.size()));
  libdeflate_free_compressor(compressor);
  return out;
}

constexpr flavour little{}, big{true, false}, big_little{false, true}, big_big{true, true};
using words = std::vector<std::uint64_t>;

struct tiff : file_test {
  tiff() : file_test("tif") {}

  void expect_planes(const char* what, const form& f, const std::vector<bytes>& planes) {
    const img::image image = read(tiff_of(f));
    ASSERT_STREQ(image.format.data(), planes.size() == 4 ? "BGRA" : "BGR") << what;
    ASSERT_EQ(image.depth[0], 8) << what;
    for (std::size_t p = 0; p < planes.size(); ++p) {
      EXPECT_EQ(samples(image, static_cast<int>(p)), planes[p]) << what << " plane " << p;
    }
  }
};

TEST_F(tiff, forms_of_eight_bits) {
  struct row {
    const char* what;
    form f;
    std::vector<bytes> planes;
  };
  // Codes of nine bits: clear, r, g, b, the three again as 258 and 260, end.
  const bytes lzw("\x80\x1C\x8C\xE6\x28\x14\x12\x07\x01", 9);
  const bytes unended("\x80\x18\x4C\x46\x33\x21\x94\xCC\x67", 9);  // clear, a to g
  words palette(48);
  palette[1] = 0x7200, palette[17] = 0x6700, palette[33] = 0x6200;
  const row rows[] = {
      {"strips", {1, 2, {8, 8, 8}, 1, 2, {{278, {1}}}, little, {"rgb", "RGB"}}, {"bB", "gG", "rR"}},
      {"most significant byte first", {2, 1, {8, 8, 8}, 1, 2, {}, big, {"rgbRGB"}}, {"bB", "gG", "rR"}},
      {"BigTIFF", {2, 1, {8, 8, 8}, 1, 2, {}, big_little, {"rgbRGB"}}, {"bB", "gG", "rR"}},
      {"BigTIFF, most significant byte first", {2, 1, {8, 8, 8}, 1, 2, {}, big_big, {"rgbRGB"}}, {"bB", "gG", "rR"}},
      {"alpha", {1, 1, {8, 8, 8, 8}, 1, 2, {{338, {2}}}, little, {"rgba"}}, {"b", "g", "r", "a"}},
      {"two further samples",
       {2, 1, {8, 8, 8, 8, 8}, 1, 2, {{338, {1, 0}}}, little, {"rgbaxRGBAX"}},
       {"bB", "gG", "rR", "aA"}},
      {"planes apart",
       {2, 1, {8, 8, 8, 8}, 1, 2, {{284, {2}}}, little, {"rR", "gG", "bB", "aA"}},
       {"bB", "gG", "rR", "aA"}},
      {"gray", {2, 1, {8}, 1, 1, {}, little, {"ab"}}, {"ab", "ab", "ab"}},
      {"gray, white is zero",
       {2, 1, {8}, 1, 0, {}, little, {bytes("\0\xFE", 2)}},
       {"\xFF\x01", "\xFF\x01", "\xFF\x01"}},
      {"gray and alpha", {2, 1, {8, 8}, 1, 1, {{338, {2}}}, little, {"axby"}}, {"ab", "ab", "ab", "xy"}},
      {"one bit",
       {9, 1, {1}, 1, 1, {}, little, {"\xA0\x80"}},
       {{"\xFF\0\xFF\0\0\0\0\0\xFF", 9}, {"\xFF\0\xFF\0\0\0\0\0\xFF", 9}, {"\xFF\0\xFF\0\0\0\0\0\xFF", 9}}},
      {"one bit, lowest first",
       {3, 1, {1}, 1, 1, {{266, {2}}}, little, {"\x05"}},
       {{"\xFF\0\xFF", 3}, {"\xFF\0\xFF", 3}, {"\xFF\0\xFF", 3}}},
      {"two bits",
       {4, 1, {2}, 1, 1, {}, little, {"\x1B"}},
       {{"\0\x55\xAA\xFF", 4}, {"\0\x55\xAA\xFF", 4}, {"\0\x55\xAA\xFF", 4}}},
      {"four bits of colour", {1, 1, {4, 4, 4}, 1, 2, {}, little, {"\x12\x30"}}, {"\x33", "\x22", "\x11"}},
      {"palette", {2, 1, {4}, 1, 3, {{320, palette}}, little, {"\x10"}}, {{"b\0", 2}, {"g\0", 2}, {"r\0", 2}}},
      {"ink",
       {1, 1, {8, 8, 8, 8}, 1, 5, {{332, {1}}}, little, {bytes("\x9B\0\xFF\xCC", 4)}},
       {{"\0", 1}, "\x33", "\x14"}},
      {"PackBits", {4, 1, {8}, 32773 & 0xFFFF, 1, {}, little, {bytes("\xFEx\0y", 4)}}, {"xxxy", "xxxy", "xxxy"}},
      {"LZW", {3, 1, {8, 8, 8}, 5, 2, {}, little, {lzw}}, {"bbb", "ggg", "rrr"}},
      {"LZW to the last bit and without an end",
       {7, 1, {8}, 5, 1, {}, little, {unended}},
       {"abcdefg", "abcdefg", "abcdefg"}},
      {"Deflate and differences",
       {3, 1, {8, 8, 8}, 8, 2, {{317, {2}}}, little, {deflated("abc\1\1\1\1\2\3")}},
       {"cdg", "bce", "abc"}},
      {"Deflate by its older number", {1, 1, {8, 8, 8}, 32946, 2, {}, little, {deflated("rgb")}}, {"b", "g", "r"}},
  };
  for (const row& r : rows) expect_planes(r.what, r.f, r.planes);
  // Tiles of 16 x 16 over 17 x 17: the last column and row lie in tiles of their own.
  std::vector<bytes> tiles;
  for (char c = 'a'; c < 'e'; ++c) tiles.push_back(bytes(256, c));
  const img::image tiled = read(tiff_of({17, 17, {8}, 1, 1, {{322, {16}}, {323, {16}}}, little, tiles}));
  EXPECT_EQ(tiled.row(0, 0)[15], 'a');
  EXPECT_EQ(tiled.row(1, 15)[16], 'b');
  EXPECT_EQ(tiled.row(2, 16)[0], 'c');
  EXPECT_EQ(tiled.row(0, 16)[16], 'd');
}

TEST_F(tiff, more_than_eight_bits) {
  struct row {
    const char* what;
    form f;
    std::vector<std::vector<int>> planes;  // codes of 16 bits
  };
  const auto be = [](std::initializer_list<int> values) {
    bytes out;
    for (const int v : values) out += be16(static_cast<std::uint64_t>(v));
    return out;
  };
  const row rows[] = {
      {"16 bits",
       {1, 1, {16, 16, 16}, 1, 2, {}, little, {le16(30001) + le16(300) + le16(65535)}},
       {{65535}, {300}, {30001}}},
      {"16 bits, alpha",
       {1, 1, {16, 16, 16, 16}, 1, 2, {{338, {1}}}, big, {be({1, 30001, 300, 9999})}},
       {{300}, {30001}, {1}, {9999}}},
      {"16 bits, differences",
       {2, 1, {16, 16, 16}, 8, 2, {{317, {2}}}, big, {deflated(be({256, 5, 65535, 1, 2, 2}))}},
       {{65535, 1}, {5, 7}, {256, 257}}},
      {"16 bits, planes apart",
       {1, 1, {16, 16, 16}, 1, 2, {{284, {2}}}, big, {be({30001}), be({300}), be({7})}},
       {{7}, {300}, {30001}}},
      {"12 bits",
       {2, 1, {12}, 1, 1, {}, little, {bytes("\xFF\xF8\0", 3)}},
       {{65535, 32776}, {65535, 32776}, {65535, 32776}}},
      {"32 bits", {1, 1, {32}, 1, 1, {}, big, {be32(0x75310000)}}, {{0x7531}, {0x7531}, {0x7531}}},
      {"16 bits, white is zero", {1, 1, {16}, 1, 0, {}, big, {be({65535 - 300})}}, {{300}, {300}, {300}}},
      {"ink", {1, 1, {16, 16, 16, 16}, 1, 5, {}, big, {be({0, 65535, 35535, 32767})}}, {{15000}, {0}, {32768}}},
  };
  for (const row& r : rows) {
    const img::image image = read(tiff_of(r.f));
    ASSERT_EQ(image.depth[0], 16) << r.what;
    for (std::size_t p = 0; p < r.planes.size(); ++p) expect_codes(image, static_cast<int>(p), r.planes[p], r.what);
  }
  // Real numbers are linear, and may be below 0 and above 1.
  const tag real{339, {3, 3, 3}};
  const bytes singles = be_float(0.5F) + be_float(-2.0F) + be_float(100.0F);
  // Highest bytes of a row first: 3F C0 42, 00 00 C8, then zeros, as differences three apart.
  const bytes split("\x3F\xC0\x42\xC1\x40\x86\x00\x00\x38\x00\x00\x00", 12);
  const bytes half("\x38\0\xC0\0\x56\x40", 6);
  const bytes doubles = number(std::bit_cast<std::uint64_t>(0.5), 8, true) +
                        number(std::bit_cast<std::uint64_t>(-2.0), 8, true) +
                        number(std::bit_cast<std::uint64_t>(100.0), 8, true);
  for (const form& f :
       {form{1, 1, {32, 32, 32}, 1, 2, {real}, big, {singles}}, form{1, 1, {16, 16, 16}, 1, 2, {real}, big, {half}},
        form{1, 1, {64, 64, 64}, 1, 2, {real}, big, {doubles}},
        form{1, 1, {32, 32, 32}, 8, 2, {real, {317, {3}}}, big, {deflated(split)}}}) {
    const img::image image = read(tiff_of(f));
    EXPECT_EQ(halves(image, 2), std::vector<double>{0.5}) << f.bits[0];
    EXPECT_EQ(halves(image, 1), std::vector<double>{-2.0}) << f.bits[0];
    EXPECT_EQ(halves(image, 0), std::vector<double>{100.0}) << f.bits[0];
  }
}

TEST_F(tiff, orientations) {
  struct row {
    std::uint64_t number;
    int width;
    bytes gray;
  };
  const row rows[] = {{1, 3, "abcdef"}, {2, 3, "cbafed"}, {3, 3, "fedcba"}, {4, 3, "defabc"},
                      {5, 2, "adbecf"}, {6, 2, "daebfc"}, {7, 2, "fcebda"}, {8, 2, "cfbead"}};
  for (const row& r : rows) {
    const img::image image = read(tiff_of({3, 2, {8}, 1, 1, {{274, {r.number}}}, little, {"abcdef"}}));
    EXPECT_EQ(image.width, r.width) << r.number;
    EXPECT_EQ(samples(image, 0), r.gray) << r.number;
  }
}

TEST_F(tiff, pages_are_layers) {
  const flavour k;
  const auto page = [&](const bytes& gray, std::uint64_t at, std::uint64_t kind, const bytes& name, bool last) {
    std::vector<tag> tags = {{254, {kind}, "", 4}, {256, {1}}, {257, {1}},         {258, {8}},
                             {259, {1}},           {262, {1}}, {273, {at}, "", 4}, {279, {1}, "", 4}};
    if (!name.empty()) tags.push_back({285, {}, name + '\0', 2});
    const std::uint64_t size = k.directory(tags, at + 1).size();
    return gray + k.directory(tags, at + 1, last ? 0 : at + 1 + size + 1);
  };
  bytes file = k.header(9);
  const std::pair<std::uint64_t, bytes> kinds[] = {{0, ""}, {1, "thumb"}, {0, "matte"}, {0, ""}};
  for (std::size_t i = 0; i < 4; ++i) {
    file += page(bytes(1, static_cast<char>('a' + i)), file.size(), kinds[i].first, kinds[i].second, i == 3);
  }
  support::write_file(path, file);
  std::vector<img::layer> layers;
  img::list_layers(path, nullptr, layers);
  ASSERT_EQ(layers.size(), 4u);
  EXPECT_TRUE(layers[0].is_default());
  const std::pair<const char*, char> rows[] = {{"page 1", 'a'}, {"matte", 'c'}, {"page 3", 'd'}};
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(layers[i + 1].name, rows[i].first);
    img::image image;
    img::load(image, path, nullptr, &layers[i + 1]);
    EXPECT_EQ(image.data[0].data()[0], rows[i].second);
  }
  EXPECT_EQ(support::load_failure(path, {2, 1, "page 7"}), "Empty layer");
}

TEST_F(tiff, what_is_told_beside_the_picture) {
  form f{1, 1, {8}, 1, 1, {}, little, {"a"}};
  f.more = {{271, {}, "Maker \0", 2}, {282, {300}, "", 5}, {283, {150}, "", 5}, {296, {3}},
            {700, {}, "<x/>", 1},     {33434, {2}, "", 5}};
  const img::image image = read(tiff_of(f));
  EXPECT_EQ(
      image.metadata,
      (std::map<std::string, std::string>{
          {"exif_make", "Maker"}, {"resolution", "300 x 150 dots/cm"}, {"xmp", "<x/>"}, {"exif_exposure_time", "2"}}));
  EXPECT_EQ(img::find_format(path)->read_header(path, {}).pixel_aspect, 0.5);
}

// Codings that only the library knows, written by the library itself.
TEST_F(tiff, the_library_reads_the_rest) {
  const auto write = [&](int compression, int photometric, int sample_count) {
    TIFF* file = TIFFOpen(path.c_str(), "w");
    TIFFSetField(file, TIFFTAG_IMAGEWIDTH, 32);
    TIFFSetField(file, TIFFTAG_IMAGELENGTH, 32);
    TIFFSetField(file, TIFFTAG_BITSPERSAMPLE, compression == COMPRESSION_CCITTFAX4 ? 1 : 8);
    TIFFSetField(file, TIFFTAG_SAMPLESPERPIXEL, sample_count);
    TIFFSetField(file, TIFFTAG_COMPRESSION, compression);
    TIFFSetField(file, TIFFTAG_PHOTOMETRIC, photometric);
    TIFFSetField(file, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(file, TIFFTAG_ROWSPERSTRIP, 16);
    if (photometric == PHOTOMETRIC_YCBCR && compression == COMPRESSION_JPEG)
      TIFFSetField(file, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
    if (photometric == PHOTOMETRIC_YCBCR && compression != COMPRESSION_JPEG)
      TIFFSetField(file, TIFFTAG_YCBCRSUBSAMPLING, 1, 1);
    bytes row;
    for (int x = 0; x < 32; ++x)
      row += photometric == PHOTOMETRIC_YCBCR && compression != COMPRESSION_JPEG ? "\x64\x80\x80"
             : sample_count == 3                                                 ? "\xC8\x64\x32"
                                                                                 : "\xFF";
    for (std::uint32_t y = 0; y < 32; ++y) ASSERT_EQ(TIFFWriteScanline(file, row.data(), y, 0), 1);
    TIFFClose(file);
  };
  struct row {
    const char* what;
    int compression, photometric, sample_count, red, green, blue;
  };
  const row rows[] = {
      {"JPEG", COMPRESSION_JPEG, PHOTOMETRIC_YCBCR, 3, 200, 100, 50},
      {"JPEG of red, green and blue", COMPRESSION_JPEG, PHOTOMETRIC_RGB, 3, 200, 100, 50},
      {"fax", COMPRESSION_CCITTFAX4, PHOTOMETRIC_MINISWHITE, 1, 0, 0, 0},
      {"Zstandard", COMPRESSION_ZSTD, PHOTOMETRIC_RGB, 3, 200, 100, 50},
      {"YCbCr", COMPRESSION_LZW, PHOTOMETRIC_YCBCR, 3, 100, 100, 100},
      {"Lab", COMPRESSION_NONE, PHOTOMETRIC_CIELAB, 3, -1, -1, -1},
  };
  for (const row& r : rows) {
    if (!TIFFIsCODECConfigured(static_cast<std::uint16_t>(r.compression))) continue;
    write(r.compression, r.photometric, r.sample_count);
    const img::image image = read(support::read_file(path));
    ASSERT_EQ(image.width, 32) << r.what;
    const int expected[] = {r.blue, r.green, r.red};
    for (int p = 0; p < 3 && r.red >= 0; ++p) {
      for (const char sample : samples(image, p)) {
        ASSERT_NEAR(static_cast<std::uint8_t>(sample), expected[p], 3) << r.what << " plane " << p;
      }
    }
  }
}

TEST_F(tiff, bad_files_say_what_is_wrong) {
  const char* const eof = "Unexpected end of file";
  const char* const variant = "Unsupported TIFF variant";
  const form good{2, 1, {8, 8, 8}, 1, 2, {}, little, {"rgbRGB"}};
  const auto with = [&](auto&& change) {
    form f = good;
    change(f);
    return tiff_of(f);
  };
  bytes loop = tiff_of(good);
  loop.replace(loop.size() - 6 - 4, 4, loop.substr(4, 4));  // the next directory is this one
  expect_failures({
      {"empty", "", eof},
      {"not a TIFF", "GIF89a, and more", variant},
      {"no directory", little.header(9999), eof},
      {"directory of nothing", little.header(8) + le16(0), variant},
      {"cut in the directory", tiff_of(good).substr(0, 60), eof},
      {"strip beyond the file", with([](form& f) {
         f.more = {{273, {9999}, "", 4}};
         f.blocks = {"rgbR"};
       }),
       eof},
      {"no strips", with([](form& f) { f.blocks = {}; }), variant},
      {"too few strips", with([](form& f) {
         f.height = 4;
         f.more = {{278, {1}}};
       }),
       eof},
      {"too large for the file", with([](form& f) { f.width = f.height = 60000; }), eof},
      {"tiles too large for the file", with([](form& f) {
         f.compression = 5;
         f.more = {{322, {60000}}, {323, {60000}}};
       }),
       eof},
      {"too large for the file, packed", with([](form& f) {
         f.width = f.height = 60000;
         f.compression = 8;
       }),
       "Picture size 60000 x 60000"},
      {"no width", with([](form& f) { f.width = 0; }), "Invalid picture size"},
      {"48 bits", with([](form& f) {
         f.bits = {48, 48, 48};
       }),
       variant},
      {"unequal bits", with([](form& f) {
         f.bits = {8, 8, 4};
       }),
       variant},
      {"whole numbers with a sign", with([](form& f) {
         f.more = {{339, {2}}};
       }),
       variant},
      {"two samples of colour", with([](form& f) {
         f.bits = {8, 8};
       }),
       variant},
      {"no palette", with([](form& f) {
         f.bits = {8};
         f.photometric = 3;
       }),
       variant},
      {"tiles without width", with([](form& f) {
         f.more = {{322, {0}}, {323, {16}}};
       }),
       variant},
      {"damaged Deflate", with([](form& f) { f.compression = 8; }), "Invalid compressed data"},
      {"LZW that ends", with([](form& f) {
         f.compression = 5;
         f.blocks = {"\x80\x1C\x8C"};
       }),
       eof},
      {"predictor of floats on bytes", with([](form& f) {
         f.compression = 8;
         f.more = {{317, {3}}};
         f.blocks = {deflated("rgbRGB")};
       }),
       variant},
      {"damaged JPEG", with([](form& f) {
         f.compression = 7;
         f.photometric = 6;
       }),
       ""},
      {"a coding that nobody knows", with([](form& f) { f.compression = 999; }), ""},
  });
}

TEST_F(tiff, written_files_come_back) {
  for (const char* letters : {"L", "LA", "BGR", "BGRA"}) {
    for (int width : {1, 3, 1200}) {
      img::image image = support::random_picture(letters, width, 300);
      // Half of the rows are flat, so that strings of all lengths are met.
      for (int p = 0; p < image.plane_count(); ++p) {
        for (int y = 0; y < 150; ++y) std::memset(image.row(p, y), y / 2, static_cast<std::size_t>(width));
      }
      for (int compression : {0, 1, 2, 3, 5}) expect_back(image, compression);
    }
  }
}

TEST_F(tiff, floats_come_back) {
  img::float_image floats;
  floats.reset(true, 3, 1);
  floats.data = {
      std::vector<float>{-1.0F, 0.5F, 1000.0F}, {0.25F, 2.0F, 0.0F}, {8.0F, 1.0F, 0.125F}, {0.5F, 1.0F, 0.0F}};
  const std::string name = folder / "a.ftif";
  for (int compression : {1, 2, 3, 5}) {
    img::find_format(name)->write_float(floats, name, {compression, 90, false});
    img::image image;
    img::load(image, name);
    ASSERT_STREQ(image.format.data(), "BGRA");
    for (int p = 0; p < 4; ++p) {
      const std::vector<float>& expected = floats.data[static_cast<std::size_t>(p)];
      EXPECT_EQ(halves(image, p), std::vector<double>(expected.begin(), expected.end()))
          << compression << " plane " << p;
    }
  }
  // Bytes become linear light, and 8 bits where they are asked for.
  const img::image bytes = support::random_picture("BGRA", 3, 2);
  for (int bits : {0, 8}) {
    img::save(bytes, name, nullptr, {1, 90, false, bits});
    img::image found;
    img::load(found, name);
    ASSERT_EQ(found.depth[0], bits == 0 ? 16 : 8);
    img::image shown;
    img::transfer().convert(shown, found);
    for (int p = 0; p < 4; ++p) EXPECT_EQ(samples(shown, p), samples(bytes, p)) << bits << " plane " << p;
  }
}

}  // namespace
