#include "byte_text.h"
#include "support/levels.h"
#include "support/pictures.h"

namespace {

using namespace raster_files;

bytes header(int storage, int size, int dimensions, int width, int height, int channels) {
  return be16(474) + bytes{static_cast<char>(storage), static_cast<char>(size)} + be16(dimensions) + be16(width) +
         be16(height) + be16(channels) + bytes(500, '\0');
}

// Rows with their table; the same row may be named twice.
bytes packed(const bytes& head, const std::vector<bytes>& rows) {
  bytes starts, lengths, body;
  for (const bytes& row : rows) {
    starts += be32(512 + 8 * rows.size() + body.size());
    lengths += be32(row.size());
    body += row;
  }
  return head + starts + lengths + body;
}

struct sgi : file_test {
  sgi() : file_test("sgi") {}
};

TEST_F(sgi, forms) {
  struct row {
    const char* what;
    bytes file;
    std::vector<bytes> planes;
  };
  const row rows[] = {
      {"gray, one dimension", header(0, 1, 1, 3, 9, 9) + "abc", {"abc", "abc", "abc"}},
      {"gray, bottom row first", header(0, 1, 2, 2, 2, 9) + "cdab", {"abcd", "abcd", "abcd"}},
      {"gray and alpha", header(0, 1, 3, 2, 1, 2) + "abxy", {"ab", "ab", "ab", "xy"}},
      {"colour", header(0, 1, 3, 1, 2, 3) + "RrGgBb", {"bB", "gG", "rR"}},
      {"colour and alpha", header(0, 1, 3, 1, 1, 4) + "rgba", {"b", "g", "r", "a"}},
      {"packed",
       packed(header(1, 1, 2, 4, 2, 1), {{"\x04x\0", 3}, "\x83yzz\x01t"}),
       {"yzztxxxx", "yzztxxxx", "yzztxxxx"}},
      {"packed, row ended early",
       packed(header(1, 1, 2, 3, 1, 1), {{"\x81x\0", 3}}),
       {{"x\0\0", 3}, {"x\0\0", 3}, {"x\0\0", 3}}},
  };
  for (const row& r : rows) {
    const img::image image = read(r.file);
    ASSERT_STREQ(image.format.data(), r.planes.size() == 4 ? "BGRA" : "BGR") << r.what;
    for (std::size_t p = 0; p < r.planes.size(); ++p) {
      EXPECT_EQ(samples(image, static_cast<int>(p)), r.planes[p]) << r.what << " plane " << p;
    }
  }
}

TEST_F(sgi, sixteen_bits_stay_more_than_eight) {
  const bytes plain = header(0, 2, 3, 2, 1, 4) + be16(0x0101) + be16(0xFFFF) + be16(0) + be16(30001) + be16(30000) +
                      be16(30002) + be16(0x8000) + be16(65535);
  const bytes runs =
      packed(header(1, 2, 3, 2, 1, 4),
             {be16(0x82) + be16(0x0101) + be16(0xFFFF), be16(0x82) + be16(0) + be16(30001) + be16(0),
              be16(0x82) + be16(30000) + be16(30002), be16(0x81) + be16(0x8000) + be16(1) + be16(65535)});
  for (const bytes& file : {plain, runs}) {
    const img::image image = read(file);
    ASSERT_EQ(image.depth[0], 16);
    expect_codes(image, 2, {0x0101, 0xFFFF}, "red");
    expect_codes(image, 1, {0, 30001}, "green");
    expect_codes(image, 0, {30000, 30002}, "blue");
    expect_codes(image, 3, {0x8000, 65535}, "alpha");
  }
}

TEST_F(sgi, bad_files_say_what_is_wrong) {
  bytes dithered = header(0, 1, 3, 1, 1, 3) + "rgb";
  dithered[107] = 1;
  expect_failures({
      {"empty", "", "Unexpected end of file"},
      {"not an SGI picture", bytes(600, 'x'), "Invalid signature"},
      {"storage", header(2, 1, 3, 1, 1, 3) + "rgb", "Invalid storage type"},
      {"depth", header(0, 4, 3, 1, 1, 3) + "rgb", "Invalid/unsupported bit depth"},
      {"dimensions", header(0, 1, 4, 1, 1, 3) + "rgb", "Unsupported number of dimensions"},
      {"channels", header(0, 1, 3, 1, 1, 5) + "rgbaz", "Unsupported number of channels"},
      {"no channels", header(0, 1, 3, 1, 1, 0) + "rgbaz", "Unsupported number of channels"},
      {"dithered", dithered, "Unsupported number of channels"},
      {"a byte short", header(0, 1, 3, 2, 1, 3) + "rgbrg", "Unexpected end of file"},
      {"too large for the file", header(0, 2, 3, 65535, 65535, 4) + "rgb", "Unexpected end of file"},
      {"table cut", header(1, 1, 3, 9, 9, 3) + "rgb", "Unexpected end of file"},
      {"no width", header(0, 1, 3, 0, 1, 3) + "rgb", "Invalid picture size"},
      {"run without a sample", packed(header(1, 1, 2, 4, 1, 1), {"\x04"}), "Unexpected end of file"},
      {"literals cut", packed(header(1, 1, 2, 4, 1, 1), {"\x84xy"}), "Unexpected end of file"},
      {"row beyond the file", header(1, 1, 2, 4, 1, 1) + be32(9999) + be32(4), "Unexpected end of file"},
  });
}

TEST_F(sgi, written_files_come_back) {
  for (const char* letters : {"L", "LA", "BGR", "BGRA"}) {
    const img::image image = support::random_picture(letters, 301, 7);
    img::image flat = image;
    for (int p = 0; p < flat.plane_count(); ++p) img::fill_plane(flat.data[p], static_cast<std::uint8_t>(p + 7));
    for (const img::image& picture : {image, flat}) {
      for (int compression : {0, 1}) expect_back(picture, compression);
    }
  }
}

// Every writer that can hold 16 bits, from floats and from bytes.
TEST(sixteen_bits, are_written_where_the_options_ask_for_them) {
  const support::temp_folder folder;
  img::float_image floats;
  floats.reset(true, 2, 1);
  floats.data = {std::vector<float>{0.0F, 1.0F}, {0.5F, 0.18F}, {2.0F, -1.0F}, {0.25F, 1.0F}};
  const img::image picture = support::picture("BGR", 2, 1, {10, 20, 30});
  for (const char* extension : {"sgi", "psd", "tif", "png"}) {
    for (int compression : {0, 1}) {
      img::save_options options{compression, 90, false, 16};
      const std::string path = folder / "a." + extension;
      img::image image;
      img::find_format(path)->write_float(floats, path, options);
      img::load(image, path);
      ASSERT_EQ(image.depth[0], 16) << extension;
      // 0.5 encodes to 0.735358, 0.18 to 0.461356.
      expect_codes(image, 0, {0, 65535}, extension);
      expect_codes(image, 1, {48192, 30235}, extension);
      expect_codes(image, 2, {65535, 0}, extension);
      expect_codes(image, 3, {16384, 65535}, extension);
      img::save(picture, path, nullptr, options);
      img::load(image, path);
      for (int p = 0; p < 3; ++p) expect_codes(image, p, {2570 * (p + 1), 2570 * (p + 1)}, extension);
      options.bits = 8;
      img::find_format(path)->write_float(floats, path, options);
      img::load(image, path);
      EXPECT_EQ(image.depth[0], 8) << extension;
    }
  }
}

}  // namespace
