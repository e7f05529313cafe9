#include <gtest/gtest.h>
#include <zlib.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <functional>

#include "img/format.h"
#include "img/transfer.h"
#include "paths.h"
#include "support/failure.h"
#include "support/ffmpeg.h"
#include "support/temp_folder.h"

namespace {

TEST(registry, extensions) {
  const std::pair<std::string, const char*> rows[] = {
      {"bmp", "bmp"},   {"dib", "bmp"},   {"dds", "dds"},     {"dng", "dng"}, {"dpx", "dpx"},  {"cin", "dpx"},
      {"exr", "exr"},   {"sxr", "exr"},   {"hdr", "hdr"},     {"iff", "iff"}, {"jpg", "jpeg"}, {"jpeg", "jpeg"},
      {"pic", "pic"},   {"png", "png"},   {"psd", "psd"},     {"rla", "rla"}, {"rpf", "rla"},  {"sgi", "sgi"},
      {"sgi16", "sgi"}, {"rgb", "sgi"},   {"rgb16", "sgi"},   {"bw", "sgi"},  {"tga", "tga"},  {"tiff", "tiff"},
      {"tif", "tiff"},  {"ftif", "tiff"}, {"qzimg", "qzimg"}, {"yuv", "yuv"}};
  for (const auto& [extension, name] : rows) {
    const img::format* format = img::find_format("/a.b/c." + extension);
    ASSERT_NE(format, nullptr) << extension;
    EXPECT_STREQ(format->name(), name);
    EXPECT_EQ(img::find_format("anything", extension.c_str()), format);
  }
  EXPECT_EQ(img::find_format("A.TGA"), img::find_format("a.tga"));
  EXPECT_EQ(img::find_format("a", "TgA"), img::find_format("a.tga"));
  for (const char* path : {"", "tga", "a.tga/b", "a.", "a.tgax", "a.tga.txt"}) {
    EXPECT_FALSE(img::is_image_file(path)) << path;
  }
  EXPECT_FALSE(img::is_image_file("a.tga", "txt"));
}

TEST(registry, what_is_not_there_is_refused_by_every_entry) {
  const struct {
    const char* path;
    const char* reading;
    const char* writing;
  } rows[] = {
      {"a.txt", "io::invalid_format: Unrecognized file type", "io::invalid_format: Unrecognized file type"},
      {"a.qzimg", "io::invalid_format: Unrecognized file type", "io::exception: Unsupported functionality"},
  };
  for (const auto& row : rows) {
    img::image image;
    std::vector<img::layer> layers;
    const std::function<void()> readers[] = {
        [&] { img::load(image, row.path); },
        [&] { img::load_converted(image, row.path, nullptr, nullptr, nullptr, nullptr); },
        [&] { img::list_layers(row.path, nullptr, layers); },
    };
    for (const auto& reader : readers) EXPECT_EQ(support::failure_of(row.path, reader), row.reading);
    EXPECT_EQ(support::failure_of(row.path, [&] { img::save(image, row.path, nullptr, {}); }), row.writing);
  }
}

// Reads a picture of one gray sample of the form asked for, and keeps what it was told to write.
class sample_format : public img::format {
 public:
  const char* name() const override { return "sample"; }
  void read(img::image& image, const std::string& path, const img::layer&) const override {
    image.reset("BGR", bits, 1, 1);
    image.path = path;
    for (int i = 0; i < 3; ++i) {
      if (bits == 8) {
        image.data[i].data()[0] = 100;
      } else {
        image.data[i].as<std::uint16_t>()[0] = 0x3800;  // 0.5
      }
    }
  }
  void write(const img::image& image, const std::string&, const img::save_options&) const override { stored = image; }

  int bits = 8;
  mutable img::image stored;
};

TEST(format, defaults) {
  sample_format format;
  img::transfer identity;
  std::vector<img::layer> layers(3);
  format.list_layers("x", layers);
  EXPECT_EQ(layers, std::vector<img::layer>(1));
  EXPECT_FALSE(format.has_native_float());
  for (int bits : {8, 16}) {
    format.bits = bits;
    for (bool with_scratch : {false, true}) {
      img::image image, scratch;
      format.read_converted(image, "x", {}, identity, with_scratch ? &scratch : nullptr);
      EXPECT_EQ(image.depth[0], 8);
      EXPECT_EQ(image.data[1].data()[0], bits == 8 ? 100 : 188);  // 0.5 linear is 188 in sRGB
      EXPECT_EQ(image.path, "x");
      img::float_image floats;
      format.read_float(floats, "x", {}, identity, {}, with_scratch ? &scratch : nullptr);
      // IEC 61966-2-1: 100 / 255 decodes to ((0.39216 + 0.055) / 1.055) ^ 2.4.
      EXPECT_NEAR(floats.data[2][0], bits == 8 ? 0.12744 : 0.5, 0.00001);
    }
  }
  const img::picture_header header = format.read_header("x", {});
  EXPECT_EQ(header.width, 1);
  EXPECT_FALSE(header.has_alpha);
}

TEST(format, floats_become_srgb_bytes) {
  sample_format format;
  img::float_image floats;
  floats.reset(true, 3, 1);
  floats.path = "origin";
  floats.metadata["k"] = "v";
  floats.data[0] = {-1.0F, 2.0F, NAN};
  // 0.002 is in the straight part: 12.92 * 0.002 * 255.99 = 6.6.
  floats.data[1] = {0.5F, 0.002F, 0.18F};
  floats.data[2] = {1.0F, 0.0F, 0.999F};
  floats.data[3] = {0.5F, -INFINITY, 1.5F};
  format.write_float(floats, "x", {});
  // 0.18 encodes to 0.46136, times 255.99 is 118.1; 0.999 to 0.99956, 255.88.
  const std::uint8_t expected[4][3] = {{0, 255, 0}, {188, 6, 118}, {255, 0, 255}, {127, 0, 255}};
  for (int p = 0; p < 4; ++p) {
    for (int x = 0; x < 3; ++x)
      EXPECT_EQ(format.stored.row(p, 0)[x], expected[p][x]) << "plane " << p << " sample " << x;
  }
  EXPECT_STREQ(format.stored.format.data(), "BGRA");
  EXPECT_EQ(format.stored.path, "origin");
  EXPECT_EQ(format.stored.metadata["k"], "v");

  // Every 997th float from 0 to 1 against the formula.
  floats.reset(false, 1000, 1);
  for (std::uint32_t start = 0; start < 0x3F800000u; start += 997u * 1000u) {
    for (std::uint32_t i = 0; i < 1000; ++i) floats.data[1][i] = std::bit_cast<float>(start + 997u * i);
    format.write_float(floats, "x", {});
    for (std::uint32_t i = 0; i < 1000; ++i) {
      const double v = floats.data[1][i];
      const double code = std::min(1.0, v <= 0.0031308 ? 12.92 * v : 1.055 * std::pow(v, 1 / 2.4) - 0.055) * 255.99;
      if (std::abs(code - std::rint(code)) < 1e-4) continue;  // a rounding of the last digit decides
      ASSERT_EQ(format.stored.data[1].data()[i], static_cast<int>(code)) << v;
    }
  }
}

TEST(format, unreadable_and_unwritable_places) {
  const support::temp_folder folder;
  const img::image picture("BGR", 8, 1, 1);
  img::image image;
  for (const char* type : {"tga", "png", "jpg"}) {
    EXPECT_THROW(img::load(image, folder / "missing", type), io::open_error) << type;
    EXPECT_THROW(img::load(image, folder.path(), type), io::open_error) << type;
    EXPECT_THROW(img::save(picture, folder / "no/such/folder", type, {}), io::open_error) << type;
    if (std::filesystem::exists("/dev/full")) {
      EXPECT_THROW(img::save(picture, "/dev/full", type, {}), io::write_error) << type;
    }
    EXPECT_EQ(support::failure_of(folder / "empty", [&] { img::save(img::image(), folder / "empty", type, {}); }),
              "io::invalid_format: Cannot export an empty image");
    EXPECT_FALSE(std::filesystem::exists(folder / "empty")) << type;
  }
}

// Files of another program come out as that program decodes them.
TEST(format, files_that_ffmpeg_makes) {
  if (!support::have_ffmpeg()) GTEST_SKIP() << "no ffmpeg to make pictures with";
  const std::pair<const char*, const char*> rows[] = {{"a.tga", "-pix_fmt bgr24"},
                                                      {"b.tga", "-pix_fmt bgra -rle 0"},
                                                      {"a.png", "-pix_fmt rgb24 -pred mixed"},
                                                      {"b.png", "-pix_fmt rgba"},
                                                      {"a.bmp", "-pix_fmt bgr24"},
                                                      {"a.tif", "-pix_fmt rgb24 -compression_algo lzw"},
                                                      {"b.tif", "-pix_fmt rgba -compression_algo packbits"},
                                                      {"c.tif", "-pix_fmt rgb24 -compression_algo deflate"},
                                                      {"a.sgi", "-pix_fmt rgb24"},
                                                      {"b.sgi", "-pix_fmt rgba -rle 0"}};
  const support::temp_folder folder;
  for (const auto& [name, options] : rows) {
    const std::string path = folder / name, raw = folder / "raw";
    ASSERT_TRUE(support::run_ffmpeg(std::string("-f lavfi -i testsrc2=size=62x44 -frames:v 1 ") + options + " " + path))
        << name;
    img::image image;
    img::load(image, path);
    ASSERT_EQ(image.width, 62) << name;
    const bool alpha = image.has_plane(3);
    EXPECT_EQ(alpha, std::string(options).find("a -") != std::string::npos || std::string(options).ends_with("a"))
        << name;
    ASSERT_TRUE(support::run_ffmpeg("-i " + path + " -f rawvideo -pix_fmt " + (alpha ? "gbrap " : "gbrp ") + raw))
        << name;
    const std::string planes = support::read_file(raw);
    constexpr std::size_t size = 62 * 44;
    ASSERT_EQ(planes.size(), size * (alpha ? 4 : 3)) << name;
    constexpr int order[] = {1, 0, 2, 3};  // blue, green, red and alpha among ffmpeg's planes
    for (int p = 0; p < (alpha ? 4 : 3); ++p) {
      EXPECT_EQ(std::memcmp(image.data[p].data(), planes.data() + size * order[p], size), 0) << name << ", plane " << p;
    }
  }
}

TEST(format, samples_of_others) {
  const std::string samples = KESTRIN_SAMPLES_DIR "/";
  struct row {
    const char* name;
    const char* letters;
    std::uint32_t sum;  // CRC-32 of the planes as ffmpeg decodes them, 0 where decoders differ
  };
  const row rows[] = {
      {"tga/UTC24.TGA", "BGR", 0xDFABCC11},
      {"tga/UTC16.TGA", "BGR", 0xDFABCC11},
      {"tga/CTC32.TGA", "BGRA", 0x0E90CBD0},
      {"tga/UBW8.TGA", "L", 0x3F8A9B3C},
      {"tga/top_left.tga", "BGRA", 0x3845C65E},
      {"tga/rgb-gimp-rle-bottom-left.tga", "BGR", 0xE936E46C},
      {"png/basi2c08.png", "BGR", 0x78113EAD},
      {"png/basn2c08.png", "BGR", 0x78113EAD},
      {"png/basn0g08.png", "BGR", 0x312F6CD8},
      {"png/basn3p04.png", "BGR", 0xCF6A47EB},
      {"png/basn6a08.png", "BGRA", 0xED6B8F8E},
      {"png/tbbn3p08.png", "BGRA", 0xF77158B0},
      {"png/basn2c16.png", "BGR", 0},
      {"png/basn6a16.png", "BGRA", 0},
      {"jpg/hopper.jpg", "BGR", 0},
      {"jpg/hopper_gray.jpg", "BGR", 0},
      {"jpg/rotation_6.jpg", "BGR", 0},
      {"jpg/pil_sample_cmyk.jpg", "BGR", 0},
  };
  for (const row& r : rows) {
    if (!std::filesystem::exists(samples + r.name)) continue;
    img::image image;
    ASSERT_NO_THROW(img::load(image, samples + r.name)) << r.name;
    EXPECT_STREQ(image.format.data(), r.letters) << r.name;
    uLong sum = 0;
    for (int p = 0; p < image.plane_count(); ++p) sum = crc32_z(sum, image.data[p].data(), image.data[p].size());
    EXPECT_TRUE(r.sum == 0 || r.sum == sum) << r.name << " has the sum " << std::hex << sum;
  }
}

}  // namespace
