#include <clocale>

#include "byte_text.h"

namespace {

using namespace raster_files;

bytes file_of(const std::string& resolution, const bytes& data, const std::string& lines = "FORMAT=32-bit_rle_rgbe\n") {
  return "#?RADIANCE\n# made by hand\n" + lines + "\n" + resolution + "\n" + data;
}

// Exponent 129 makes a mantissa of 128 one.
const bytes half_red = "\x80\x40\x20\x80", one = "\x80\x80\x80\x81";

struct hdr : file_test {
  hdr() : file_test("hdr") {}
};

TEST_F(hdr, codings) {
  bytes planes("\x02\x02\x00\x08", 4);  // the new coding of eight pixels: runs and mantissas as they stand
  planes += bytes("\x88\x80", 2) + bytes("\x04\x01\x02\x03\x04\x84\x05", 7) + bytes("\x88\0", 2) + bytes("\x88\x81", 2);
  bytes many;
  for (int i = 0; i < 300; ++i) many += one;
  struct row {
    const char* what;
    bytes file;
    std::vector<double> red, green;
  };
  const row rows[] = {
      {"plain", file_of("-Y 1 +X 3", half_red + one + bytes("\xFF\xFF\xFF\0", 4)), {0.5, 1, 0}, {0.25, 1, 0}},
      {"old runs", file_of("-Y 1 +X 4", half_red + "\1\1\1\2" + one), {0.5, 0.5, 0.5, 1}, {0.25, 0.25, 0.25, 1}},
      {"new runs",
       file_of("-Y 1 +X 8", planes),
       std::vector<double>(8, 1),
       {1 / 128., 2 / 128., 3 / 128., 4 / 128., 5 / 128., 5 / 128., 5 / 128., 5 / 128.}},
  };
  for (const row& r : rows) {
    const img::image image = read(r.file);
    ASSERT_STREQ(image.format.data(), "BGR") << r.what;
    EXPECT_EQ(image.depth[0], 16);
    EXPECT_EQ(halves(image, 2), r.red) << r.what;
    EXPECT_EQ(halves(image, 1), r.green) << r.what;
  }
  // 128 samples as they stand are the longest such piece, 127 the longest run.
  bytes as_it_stands("\x02\x02\0\x80", 4);
  for (int channel = 0; channel < 3; ++channel) {
    as_it_stands += '\x80';
    for (int i = 0; i < 128; ++i) as_it_stands += static_cast<char>(i);
  }
  as_it_stands += bytes("\xFF\x88\1\x88", 4);
  const std::vector<double> ramp = halves(read(file_of("-Y 1 +X 128", as_it_stands)), 2);
  EXPECT_EQ(ramp[0], 0);
  EXPECT_EQ(ramp[127], 127);
  // The widest row that can be packed in the new way: 258 runs of 127 and one sample more of each kind.
  bytes widest("\x02\x02\x7F\xFF", 4);
  for (const char sample : {'\x80', '\x40', '\x20', '\x80'}) {
    for (int i = 0; i < 258; ++i) widest += bytes{'\xFF', sample};
    widest += bytes{'\1', sample};
  }
  EXPECT_EQ(halves(read(file_of("-Y 1 +X 32767", widest)), 2), std::vector<double>(32767, 0.5));
  // A run of 1 1 1 0 and one of 1 1 1 1 after it are 256 repetitions.
  const img::image long_run = read(file_of("-Y 1 +X 257", half_red + bytes("\1\1\1\0\1\1\1\1", 8)));
  EXPECT_EQ(halves(long_run, 2), std::vector<double>(257, 0.5));
}

TEST_F(hdr, eight_orientations) {
  // Pixels in the order of the file, by their red: 1 2 3 in the first row, 4 5 6 in the second.
  bytes pixels;
  for (int i = 1; i <= 6; ++i) pixels += bytes{static_cast<char>(i * 16), 0, 0, static_cast<char>(0x84)};
  struct row {
    const char* resolution;
    int width;
    std::vector<double> red;
  };
  const row rows[] = {
      {"-Y 2 +X 3", 3, {1, 2, 3, 4, 5, 6}}, {"-Y 2 -X 3", 3, {3, 2, 1, 6, 5, 4}}, {"+Y 2 -X 3", 3, {6, 5, 4, 3, 2, 1}},
      {"+Y 2 +X 3", 3, {4, 5, 6, 1, 2, 3}}, {"+X 2 -Y 3", 2, {1, 4, 2, 5, 3, 6}}, {"-X 2 -Y 3", 2, {4, 1, 5, 2, 6, 3}},
      {"-X 2 +Y 3", 2, {6, 3, 5, 2, 4, 1}}, {"+X 2 +Y 3", 2, {3, 6, 2, 5, 1, 4}},
  };
  for (const row& r : rows) {
    const img::image image = read(file_of(r.resolution, pixels));
    EXPECT_EQ(image.width, r.width) << r.resolution;
    EXPECT_EQ(image.height, 6 / r.width) << r.resolution;
    EXPECT_EQ(halves(image, 2), r.red) << r.resolution;
  }
}

TEST_F(hdr, header_lines) {
  const img::image image =
      read(file_of("-Y 1 +X 1", one,
                   "FORMAT=32-bit_rle_rgbe\nEXPOSURE=2\nEXPOSURE= 1.5\nCOLORCORR= 1 2 3\n\tEXPOSURE=9\nVIEW= -vtv\n"));
  EXPECT_EQ(halves(image, 0), std::vector<double>(1, 1.0));  // as the author exposed it
  EXPECT_EQ(image.metadata,
            (std::map<std::string, std::string>{{"EXPOSURE", "3"}, {"COLORCORR", "1 2 3"}, {"VIEW", "-vtv"}}));
  // The light of D65 in CIE XYZ is white.
  const img::image white = read(file_of("-Y 1 +X 1", "\xF3\xFF\xFF\x80", "FORMAT=32-bit_rle_xyze\n"));
  EXPECT_NEAR(halves(white, 1)[0], 1, 0.02);
}

TEST_F(hdr, numbers_of_the_header_have_a_point_in_every_locale) {
  // With a comma as the decimal point. The locale may be missing here; the rest counts all the same.
  std::setlocale(LC_NUMERIC, "de_DE.UTF-8");
  const img::image image = read(file_of(
      "-Y 1 +X 1", one, "EXPOSURE=+2.5\nEXPOSURE=none\nEXPOSURE=5e-1\nCOLORCORR= 1.5 2  +0.25 \nCOLORCORR=1 2\n"));
  std::setlocale(LC_NUMERIC, "C");
  EXPECT_EQ(image.metadata, (std::map<std::string, std::string>{{"EXPOSURE", "1.25"}, {"COLORCORR", "1.5 2 0.25"}}));
}

TEST_F(hdr, bad_files_say_what_is_wrong) {
  const char* const damaged = "Invalid or corrupt file data";
  expect_failures({
      {"empty", "", "Invalid signature"},
      {"not a Radiance picture", "GIF89a", "Invalid signature"},
      {"no resolution", "#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n", damaged},
      {"other format", file_of("-Y 1 +X 1", one, "FORMAT=32-bit_rle_luv\n"), damaged},
      {"one axis twice", file_of("-Y 1 +Y 1", one), "Invalid/unsupported orientation"},
      {"words", file_of("one by one", one), "Invalid/unsupported orientation"},
      {"no width", file_of("-Y 1 +X 0", one), "Invalid/unsupported dimensions"},
      {"negative", file_of("-Y -4 +X 4", one), "Invalid/unsupported dimensions"},
      {"beyond all", file_of("-Y 100000 +X 1", one), "Invalid/unsupported dimensions"},
      {"too large for the file", file_of("-Y 60000 +X 60000", one), "Picture size 60000 x 60000"},
      {"cut", file_of("-Y 1 +X 2", one + "abc"), "Unexpected end of file"},
      {"run before any pixel", file_of("-Y 1 +X 2", "\1\1\1\1" + one), damaged},
      {"run beyond the row", file_of("-Y 1 +X 2", one + "\1\1\1\7"), damaged},
      {"new run beyond the row", file_of("-Y 1 +X 8", bytes("\2\2\0\x08\xFFx", 6)), damaged},
      {"new run of nothing", file_of("-Y 1 +X 8", bytes("\2\2\0\x08\0x", 6)), damaged},
  });
}

}  // namespace
