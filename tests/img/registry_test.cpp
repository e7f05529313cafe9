#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <functional>

#include "img/format.h"
#include "img/transfer.h"
#include "io/exceptions.h"
#include "support/temp_folder.h"

namespace {

TEST(registry, extensions) {
  struct row {
    const char* name;
    std::vector<const char*> extensions;
  };
  const row rows[] = {
      {"bmp", {"bmp", "dib"}},
      {"dds", {"dds"}},
      {"dng", {"dng"}},
      {"dpx", {"dpx", "cin"}},
      {"exr", {"exr", "sxr"}},
      {"hdr", {"hdr"}},
      {"iff", {"iff"}},
      {"jpeg", {"jpg", "jpeg"}},
      {"pic", {"pic"}},
      {"png", {"png"}},
      {"psd", {"psd"}},
      {"rla", {"rla", "rpf"}},
      {"sgi", {"sgi", "sgi16", "rgb", "rgb16"}},
      {"tga", {"tga"}},
      {"tiff", {"tiff", "tif", "ftif"}},
      {"qzimg", {"qzimg"}},
      {"yuv", {"yuv"}},
  };
  for (const row& r : rows) {
    for (const std::string extension : r.extensions) {
      const img::format* format = img::find_format("/a.b/c." + extension);
      ASSERT_NE(format, nullptr) << extension;
      EXPECT_STREQ(format->name(), r.name);
      EXPECT_EQ(img::find_format("anything", extension.c_str()), format);
    }
  }
  EXPECT_EQ(img::find_format("A.TGA"), img::find_format("a.tga"));
  EXPECT_EQ(img::find_format("a", "TgA"), img::find_format("a.tga"));
  for (const char* path : {"", "tga", "a.tga/b", "a.", "a.tgax", "a.tga.txt"}) {
    EXPECT_FALSE(img::is_image_file(path)) << path;
  }
  EXPECT_FALSE(img::is_image_file("a.tga", "txt"));
}

TEST(registry, unknown_types_are_refused_by_every_entry) {
  img::image image;
  std::vector<img::layer> layers;
  const std::function<void()> calls[] = {
      [&] { img::load(image, "a.txt"); },
      [&] { img::load_converted(image, "a.txt", nullptr, nullptr, nullptr, nullptr); },
      [&] { img::list_layers("a.txt", nullptr, layers); },
      [&] { img::save(image, "a.txt", nullptr, {}); },
  };
  for (const auto& call : calls) {
    try {
      call();
      FAIL() << "nothing thrown";
    } catch (const io::invalid_format& failure) {
      EXPECT_EQ(failure.source(), "a.txt");
      EXPECT_EQ(failure.message(), "Unrecognized file type");
    }
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

TEST(format, unsupported_operations_say_so) {
  struct reader_only : img::format {
    const char* name() const override { return "reader"; }
    void read(img::image&, const std::string&, const img::layer&) const override {}
  } const format;
  try {
    format.write(img::image(), "x", {});
    FAIL() << "nothing thrown";
  } catch (const io::exception& failure) {
    EXPECT_EQ(failure.source(), "x");
    EXPECT_EQ(failure.message(), "Unsupported functionality");
  }
}

}  // namespace
