#include <zlib.h>

#include "byte_text.h"
#include "support/pictures.h"

namespace {

using namespace raster_files;

constexpr int gray = 1, indexed = 2, rgb = 3, cmyk = 4;

struct form {
  int channels = 3, width = 2, height = 1, bits = 8, mode = rgb, version = 1;
};

bytes with_length(const bytes& data) {
  return be32(data.size()) + data;
}

bytes psd_of(const form& f, const bytes& merged, const bytes& layers = "", const bytes& palette = "",
             const bytes& resources = "") {
  return "8BPS" + be16(f.version) + bytes(6, '\0') + be16(f.channels) + be32(f.height) + be32(f.width) + be16(f.bits) +
         be16(f.mode) + with_length(palette) + with_length(resources) + (f.version == 2 ? be32(0) : bytes()) +
         with_length(layers) + merged;
}

const bytes raw = be16(0), rle = be16(1), zip = be16(2), predicted = be16(3);

bytes deflated(const bytes& data) {
  uLongf size = compressBound(data.size());
  bytes out(size, '\0');
  compress(reinterpret_cast<Bytef*>(out.data()), &size, reinterpret_cast<const Bytef*>(data.data()), data.size());
  return out.substr(0, size);
}

struct made_layer {
  std::string name;
  int top, left, bottom, right;
  std::vector<std::pair<int, bytes>> channels;  // with the word of their compression
};

// A layer part; `transparent` marks the merged picture's own transparency.
bytes layers_of(const std::vector<made_layer>& layers, bool transparent = false) {
  bytes records, data;
  for (const made_layer& l : layers) {
    records += be32(l.top) + be32(l.left) + be32(l.bottom) + be32(l.right) + be16(l.channels.size());
    for (const auto& [id, content] : l.channels) {
      records += be16(id) + be32(content.size());
      data += content;
    }
    bytes name = bytes(1, static_cast<char>(l.name.size())) + l.name;
    name.resize((name.size() + 3) / 4 * 4);
    records += bytes("8BIMnorm\xFF\0\0\0", 12) + with_length(be32(0) + be32(0) + name);
  }
  const int count = static_cast<int>(layers.size());
  return with_length(be16(transparent ? -count : count) + records + data) + be32(0);
}

struct psd : file_test {
  psd() : file_test("psd") {}
};

TEST_F(psd, forms) {
  struct row {
    const char* what;
    bytes file;
    std::vector<bytes> planes;
  };
  bytes palette(768, '\0');
  palette[1] = 'r';
  palette[257] = 'g';
  palette[513] = 'b';
  const row rows[] = {
      {"colour", psd_of({}, raw + "rRgGbB"), {"bB", "gG", "rR"}},
      {"colour and alpha", psd_of({4}, raw + "rRgGbBaA"), {"bB", "gG", "rR", "aA"}},
      {"further channels", psd_of({6}, raw + "rRgGbBaAxxyy"), {"bB", "gG", "rR", "aA"}},
      {"gray", psd_of({1, 2, 1, 8, gray}, raw + "ab"), {"ab", "ab", "ab"}},
      {"gray and alpha", psd_of({2, 2, 1, 8, gray}, raw + "abxy"), {"ab", "ab", "ab", "xy"}},
      {"palette",
       psd_of({1, 2, 1, 8, indexed}, raw + bytes("\1\0", 2), "", palette),
       {{"b\0", 2}, {"g\0", 2}, {"r\0", 2}}},
      {"one bit", psd_of({1, 3, 1, 1, 0}, raw + "\x40"), {{"\xFF\0\xFF", 3}, {"\xFF\0\xFF", 3}, {"\xFF\0\xFF", 3}}},
      // Paper is 255. Light of cyan 100 through black 51 is 100 * 51 / 255.
      {"ink", psd_of({4, 1, 1, 8, cmyk}, raw + bytes("\x64\xFF\0\x33", 4)), {{"\0", 1}, "\x33", "\x14"}},
      {"run-length",
       psd_of({3, 4, 1}, rle + be16(2) + be16(5) + be16(4) + "\xFDr\3abcd\xFFg\xFFG"),
       {"ggGG", "abcd", "rrrr"}},
      {"run-length, large", psd_of({1, 3, 1, 8, gray, 2}, rle + be32(2) + "\xFEx"), {"xxx", "xxx", "xxx"}},
      {"deflated", psd_of({}, zip + deflated("rRgGbB")), {"bB", "gG", "rR"}},
      {"deflated differences",
       psd_of({1, 3, 2, 8, gray}, predicted + deflated("a\1\1b\2\2")),
       {"abcbdf", "abcbdf", "abcbdf"}},
      // Half of black over white is 127 in the file.
      {"over white",
       psd_of({4, 3, 1}, raw + bytes("\x7F\xFF\x30\x7F\xFF\x30\x7F\xFF\x30\x80\0\xFF", 12),
              layers_of({{"a", 0, 0, 0, 0, {}}}, true)),
       {{"\0\0\x30", 3}, {"\0\0\x30", 3}, {"\0\0\x30", 3}, {"\x80\0\xFF", 3}}},
      // White would have left more than 30 of the light.
      {"transparency beside colours as they are",
       psd_of({4, 1, 1}, raw + "\x30\x40\xFF\x80", layers_of({{"a", 0, 0, 0, 0, {}}}, true)),
       {"\xFF", "\x40", "\x30", "\x80"}},
  };
  for (const row& r : rows) {
    const img::image image = read(r.file);
    ASSERT_STREQ(image.format.data(), r.planes.size() == 4 ? "BGRA" : "BGR") << r.what;
    for (std::size_t p = 0; p < r.planes.size(); ++p) {
      EXPECT_EQ(samples(image, static_cast<int>(p)), r.planes[p]) << r.what << " plane " << p;
    }
  }
}

TEST_F(psd, deep_samples) {
  const img::image words = read(psd_of({4, 1, 1, 16}, raw + be16(300) + be16(30001) + be16(65535) + be16(9999)));
  ASSERT_EQ(words.depth[0], 16);
  expect_codes(words, 2, {300}, "16 bits");
  expect_codes(words, 1, {30001}, "16 bits");
  expect_codes(words, 3, {9999}, "16 bits");
  const img::image differences =
      read(psd_of({1, 3, 1, 16, gray}, predicted + deflated(be16(256) + be16(1) + be16(0xFFFF))));
  expect_codes(differences, 0, {256, 257, 256}, "differences of words");
  const img::image inks = read(psd_of({4, 1, 1, 16, cmyk}, raw + be16(65535) + be16(0) + be16(30000) + be16(32768)));
  expect_codes(inks, 2, {32768}, "ink");
  expect_codes(inks, 0, {15000}, "ink");
  // Floats are linear and may be above one.
  const img::image floats = read(psd_of({1, 2, 1, 32, gray}, raw + be_float(0.5F) + be_float(4.0F)));
  EXPECT_EQ(halves(floats, 0), (std::vector<double>{0.5, 4.0}));
  // Their highest bytes first, as differences: 3F 40 00 00 00 00 00 00 for 0.5 and 2.0.
  const img::image split = read(psd_of({1, 2, 1, 32, gray}, predicted + deflated(bytes("\x3F\x01\xC0\0\0\0\0\0", 8))));
  EXPECT_EQ(halves(split, 0), (std::vector<double>{0.5, 2.0}));
}

TEST_F(psd, layers_by_name) {
  const bytes file = psd_of(
      {3, 3, 2}, raw + bytes(18, 'm'),
      layers_of(
          {{"below", 0, 0, 2, 3, {{0, raw + "rrrrrr"}, {1, raw + "gggggg"}, {2, raw + "bbbbbb"}}},
           {"group", 0, 0, 0, 0, {}},
           {"patch", 1, 2, 2, 4, {{-1, raw + "aA"}, {0, raw + "rR"}, {1, rle + be16(2) + "\xFFg"}, {2, raw + "bB"}}},
           {"below", -1, 0, 1, 1, {{0, raw + "xR"}, {-1, raw + "xA"}}}}));
  support::write_file(path, file);
  std::vector<img::layer> layers;
  img::list_layers(path, nullptr, layers);
  ASSERT_EQ(layers.size(), 4u);
  EXPECT_EQ(layers[1], (img::layer{2, 1, "below"}));
  EXPECT_EQ(layers[2], (img::layer{2, 2, "patch"}));
  EXPECT_EQ(layers[3], (img::layer{2, 3, "below (2)"}));
  struct row {
    const char* name;
    bytes red, alpha;
  };
  const row rows[] = {{"below (2)", "rrrrrr", "\xFF\xFF\xFF\xFF\xFF\xFF"},
                      {"patch", {"\0\0\0\0\0r", 6}, {"\0\0\0\0\0a", 6}},
                      {"below", {"R\0\0\0\0\0", 6}, {"A\0\0\0\0\0", 6}}};
  for (const row& r : rows) {
    img::image image;
    const img::layer layer{2, 0, r.name};
    img::load(image, path, nullptr, &layer);
    ASSERT_STREQ(image.format.data(), "BGRA");
    EXPECT_EQ(samples(image, 2), r.red) << r.name;
    EXPECT_EQ(samples(image, 3), r.alpha) << r.name;
  }
  EXPECT_EQ(support::load_failure(path, {2, 1, "none"}), "Empty layer");
  // Without a channel of black ink there is none.
  support::write_file(path, psd_of({4, 2, 1, 8, cmyk}, raw + bytes(8, 'm'),
                                   layers_of({{"inks", 0, 0, 1, 2, {{0, raw + "cC"}, {1, raw + "mM"}, {2, raw + "yY"}}},
                                              {"other", 0, 0, 0, 0, {}}})));
  img::image inks;
  const img::layer layer{2, 0, "inks"};
  img::load(inks, path, nullptr, &layer);
  EXPECT_EQ(samples(inks, 2) + samples(inks, 1) + samples(inks, 0), "cCmMyY");
}

TEST_F(psd, an_only_layer_is_the_picture) {
  // Below the white of the merged picture a tenth of the colour is left: 0x30 at alpha 10 is 0xF7.
  const bytes merged = raw + "\xF7\xF7\xF7\x0A";
  const auto layer = [](int right, const bytes& colors) {
    return made_layer{"one", 0, 0, 1, right, {{-1, raw + "\x0A"}, {0, raw + colors}, {1, raw + "g"}, {2, raw + "b"}}};
  };
  const bytes plain = layers_of({layer(1, "r")}, true);
  const auto changed = [&](std::size_t at, char value) {
    bytes other = plain;
    other[at] = value;
    return other;
  };
  constexpr std::size_t blend = 4 + 2 + 18 + 4 * 6, opacity = blend + 8;
  struct row {
    const char* what;
    bytes layers;
    bytes red;
  };
  const row rows[] = {{"plain", plain, "r"},
                      {"no transparency of the merged picture", layers_of({layer(1, "r")}), "\xF7"},
                      {"wider than the canvas", layers_of({layer(2, "rr")}, true), "\x33"},
                      {"beside another", layers_of({layer(1, "r"), {"none", 0, 0, 0, 0, {}}}, true), "\x33"},
                      {"another blending", changed(blend + 4, 'm'), "\x33"},
                      {"half opaque", changed(opacity, '\x7F'), "\x33"},
                      {"clipped", changed(opacity + 1, '\1'), "\x33"},
                      {"hidden", changed(opacity + 2, '\2'), "\x33"}};
  for (const row& r : rows) {
    support::write_file(path, psd_of({4, 1, 1}, merged, r.layers));
    img::image image;
    img::load(image, path);
    EXPECT_EQ(samples(image, 2), r.red) << r.what;
    EXPECT_EQ(samples(image, 3), "\x0A") << r.what;
  }
}

TEST_F(psd, a_palette_has_no_layers) {
  const bytes layers = layers_of({{"narrow", 0, 0, 1, 1, {{0, raw + "\1"}}}});
  support::write_file(path, psd_of({1, 2, 1, 8, indexed}, raw + bytes("\1\0", 2), layers, bytes(768, '\0')));
  std::vector<img::layer> found;
  img::list_layers(path, nullptr, found);
  EXPECT_EQ(found, std::vector<img::layer>(1));
  EXPECT_EQ(support::load_failure(path, {2, 1, "narrow"}), "Empty layer");
}

TEST_F(psd, what_is_told_beside_the_picture) {
  const bytes profile_tag = "desc" + be32(0) + be32(8) + bytes("My tint\0", 8);
  const bytes profile = bytes(128, '\0') + be32(1) + "desc" + be32(144) + be32(profile_tag.size()) + profile_tag;
  const auto resource = [](int id, const bytes& data) {
    return "8BIM" + be16(id) + be16(0) + with_length(data) + bytes(data.size() % 2, '\0');
  };
  const img::image image = read(psd_of({}, raw + "rRgGbB", "", "",
                                       resource(1005, be32(300 << 16) + be32(1) + be32(150 << 16) + be32(1)) +
                                           resource(1060, "<x/>") + resource(1039, profile)));
  EXPECT_EQ(image.metadata, (std::map<std::string, std::string>{
                                {"resolution", "300 x 150 dpi"}, {"xmp", "<x/>"}, {"icc_profile", "My tint"}}));
}

TEST_F(psd, bad_files_say_what_is_wrong) {
  const char* const eof = "Unexpected end of file";
  expect_failures({
      {"empty", "", eof},
      {"not a document", bytes(100, 'x'), "Invalid signature"},
      {"version", psd_of({3, 2, 1, 8, rgb, 3}, raw), "Unsupported variant"},
      {"Lab", psd_of({3, 2, 1, 8, 9}, raw + "rRgGbB"), "Unsupported variant"},
      {"depth", psd_of({3, 2, 1, 4}, raw + "rRgGbB"), "Invalid/unsupported bit depth"},
      {"too few channels", psd_of({2}, raw + "rRgG"), "Unsupported number of channels"},
      {"compression", psd_of({}, be16(4) + "rRgGbB"), "Unsupported compression method"},
      {"no size", psd_of({3, 0, 0}, raw), "Invalid picture size"},
      {"a byte short", psd_of({}, raw + "rRgGb"), eof},
      {"too large for the file", psd_of({3, 60000, 60000}, raw + "rgb"), "Picture size 60000 x 60000"},
      {"too large for the file, packed", psd_of({3, 60000, 60000}, zip + "rgb"), "Picture size 60000 x 60000"},
      {"cut in a row", psd_of({1, 300, 1, 8, gray}, rle + be16(3) + bytes("\x81x\x81")), eof},
      {"damaged stream", psd_of({}, zip + "not deflated"), "Invalid compressed data"},
      {"stream that ends", psd_of({}, zip + deflated("rRg")), eof},
      {"layers beyond the file", psd_of({}, raw).substr(0, 34) + be32(9999), eof},
  });
}

TEST_F(psd, written_files_come_back) {
  for (const char* letters : {"L", "LA", "BGR", "BGRA"}) {
    for (int width : {1, 31, 400}) {
      for (int compression : {0, 1}) {
        expect_back(support::random_picture(letters, width, 5), compression);
      }
    }
  }
  EXPECT_THROW(written(img::image("L", 8, 30001, 1)), io::invalid_format);
}

// What reads the merged picture alone finds the transparency by the sign of the layers' count: colours on white, gray
// as it is.
TEST_F(psd, written_alpha_is_told) {
  img::image picture("BGRA", 8, 1, 1);
  const std::uint8_t values[] = {51, 102, 255, 128};
  for (std::size_t p = 0; p < 4; ++p) *picture.data[p].data() = values[p];
  const bytes colour = written(picture, {1, 90, false});
  EXPECT_EQ(colour.substr(42, 2), be16(0xFFFF));
  EXPECT_EQ(colour.substr(colour.size() - 6), raw + "\xFF\xB2\x99\x80");
  img::image gray_picture("LA", 8, 1, 1);
  *gray_picture.data[0].data() = 51;
  *gray_picture.data[1].data() = 128;
  const bytes gray_file = written(gray_picture, {1, 90, false});
  EXPECT_EQ(gray_file.substr(42, 2), be16(0xFFFF));
  EXPECT_EQ(gray_file.substr(gray_file.size() - 4), raw + "\x33\x80");
  EXPECT_EQ(written(picture, {1, 90, true}).substr(34, 4), be32(0));
}

}  // namespace
