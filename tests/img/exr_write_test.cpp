#include <ImfStandardAttributes.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <random>

#include "exr_files.h"
#include "img/format.h"
#include "img/formats/exr_rows.h"
#include "img/simd_level.h"
#include "img/transfer.h"
#include "io/exceptions.h"
#include "support/levels.h"
#include "support/temp_folder.h"

namespace {

img::image half_image(std::string_view letters, int width, int height) {
  img::image image(letters, 16, width, height);
  for (int p = 0; p < static_cast<int>(letters.size()); ++p) {
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) image.row<std::uint16_t>(p, y)[x] = half(exr_files::sample(p, x, y)).bits();
    }
  }
  return image;
}

TEST(ExrWrite, HalvesReadBackTheSame) {
  const support::temp_folder folder;
  const std::string path = folder / "a.exr";
  for (const char* letters : {"BGR", "BGRA"}) {
    for (const int compression : {0, 1, 2, 3}) {
      img::image image = half_image(letters, 67, 41);
      image.timecode = img::make_timecode(1, 2, 3, 4, 0, 1, true);
      image.keycode = {1, 2, 3, 4, 5, 6, 70};
      image.frame_rate_nm = 24000;
      image.frame_rate_dn = 1001;
      img::save_options options;
      options.compression = compression;
      img::save(image, path, nullptr, options);
      img::image back;
      img::load(back, path);
      EXPECT_EQ(back.format, image.format);
      EXPECT_EQ(back.data, image.data) << letters << compression;
      EXPECT_EQ(back.timecode, image.timecode);
      EXPECT_EQ(back.keycode, image.keycode);
      EXPECT_EQ(back.frame_rate_nm, 24000);
      EXPECT_EQ(back.frame_rate_dn, 1001);
    }
  }
}

// Pictures of few and of many chunks, in part such that no coding makes them smaller, read by the library.
TEST(ExrWrite, OtherProgramsReadIt) {
  const support::temp_folder folder;
  const std::string path = folder / "a.exr";
  std::mt19937 random(7);
  const std::pair<int, int> sizes[] = {{1, 1}, {3, 15}, {130, 16}, {67, 33}, {700, 331}};
  for (const auto& size_of_picture : sizes) {
    const int width = size_of_picture.first;
    const int height = size_of_picture.second;
    for (const char* letters : {"BGR", "BGRA"}) {
      img::image image(letters, 16, width, height);
      for (int p = 0; p < image.plane_count(); ++p) {
        for (int y = 0; y < height; ++y) {
          for (int x = 0; x < width; ++x) {
            // Finite noise, a flat part, and runs of all lengths.
            unsigned bits = random() & 0x7BFFu;
            if (y % 48 >= 16) bits = 0x3C00u + static_cast<unsigned>(p);
            if (y % 48 >= 32) bits = static_cast<unsigned>(x * x / 97 * (p + 1)) & 0x3FFFu;
            image.row<std::uint16_t>(p, y)[x] = static_cast<std::uint16_t>(bits);
          }
        }
      }
      for (const int compression : {1, 2, 3}) {
        support::every_thread_count([&](int threads) {
          img::save_options options;
          options.compression = compression;
          img::save(image, path, nullptr, options);
          const exr_files::reference back = exr_files::read_reference(path);
          ASSERT_EQ(back.width, width);
          ASSERT_EQ(back.height, height);
          for (std::size_t p = 0; p < static_cast<std::size_t>(image.plane_count()); ++p) {
            ASSERT_EQ(std::memcmp(back.planes[p].data(), image.data[p].data(), image.data[p].size()), 0)
                << width << " x " << height << ", plane " << p << ", compression " << compression << ", threads "
                << threads;
          }
        });
        const std::size_t plain = static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 2 *
                                  static_cast<std::size_t>(image.plane_count());
        const std::size_t size = std::filesystem::file_size(path);
        EXPECT_LT(size, plain + 2000 + 16 * static_cast<std::size_t>(height));
        if (compression != 1 && height > 300) {
          EXPECT_LT(size, plain * 3 / 4);
        }
      }
    }
  }
}

TEST(ExrWrite, HeaderAndCompression) {
  const support::temp_folder folder;
  const std::string path = folder / "a.exr";
  const std::pair<int, Imf::Compression> compressions[] = {{0, Imf::ZIP_COMPRESSION},  {1, Imf::NO_COMPRESSION},
                                                           {2, Imf::RLE_COMPRESSION},  {3, Imf::ZIP_COMPRESSION},
                                                           {4, Imf::B44A_COMPRESSION}, {99, Imf::ZIP_COMPRESSION}};
  for (const auto& [option, compression] : compressions) {
    for (const bool ignore_alpha : {false, true}) {
      img::save_options options;
      options.compression = option;
      options.ignore_alpha = ignore_alpha;
      img::save(half_image("BGRA", 20, 10), path, nullptr, options);
      const Imf::InputFile file(path.c_str());
      const Imf::Header& header = file.header();
      EXPECT_EQ(header.compression(), compression) << option;
      EXPECT_EQ(header.dataWindow(), Imath::Box2i({0, 0}, {19, 9}));
      EXPECT_EQ(header.displayWindow(), header.dataWindow());
      EXPECT_EQ(header.lineOrder(), Imf::INCREASING_Y);
      EXPECT_EQ(header.pixelAspectRatio(), 1.0F);
      EXPECT_EQ(header.screenWindowWidth(), 1.0F);
      EXPECT_FALSE(Imf::hasTimeCode(header));
      EXPECT_FALSE(Imf::hasKeyCode(header));
      EXPECT_FALSE(Imf::hasFramesPerSecond(header));
      std::string names;
      for (auto c = header.channels().begin(); c != header.channels().end(); ++c) {
        names += c.name();
        EXPECT_EQ(c.channel().type, Imf::HALF);
      }
      EXPECT_EQ(names, ignore_alpha ? "BGR" : "ABGR");
    }
  }
}

// By hand: sRGB byte 128 is 0.21586 linear, 10 is 0.0030353; alpha is linear, 128 is 0.50196.
TEST(ExrWrite, BytesBecomeLinear) {
  const support::temp_folder folder;
  const std::string path = folder / "a.exr";
  img::image image("BGRA", 8, 4, 1);
  const std::uint8_t bytes[] = {0, 10, 128, 255};
  for (int p = 0; p < 4; ++p) std::memcpy(image.row(p, 0), bytes, 4);
  img::save(image, path, nullptr, {});
  img::image back;
  img::load(back, path);
  const float colours[] = {0, 0.0030353F, 0.21586F, 1};
  const float alphas[] = {0, 0.0392157F, 0.501961F, 1};
  for (int x = 0; x < 4; ++x) {
    for (int p = 0; p < 4; ++p) {
      half value;
      value.setBits(back.row<std::uint16_t>(p, 0)[x]);
      const float expected = p == 3 ? alphas[x] : colours[x];
      EXPECT_NEAR(value, expected, expected * 0.0005F) << p << ' ' << x;
    }
  }
}

TEST(ExrWrite, EveryPixelFormGoesOut) {
  const support::temp_folder folder;
  const std::string path = folder / "a.exr";
  const auto reread = [&](const img::image& image) {
    img::save(image, path, nullptr, {});
    img::image back;
    img::load(back, path);
    return back;
  };
  const auto value = [](const img::image& image, int p) {
    half h;
    h.setBits(*image.row<std::uint16_t>(p, 0));
    return static_cast<float>(h);
  };
  // Code 685 is 1, 95 is 0; 985 is a decade more of what stands above the base: (10 - 0.0107978) * 1.0109156.
  for (const char form : {'U', 'u', 'W'}) {
    img::image packed(std::string_view(&form, 1), 32, 1, 1);
    const std::uint32_t word = 685u << 22 | 95u << 12 | 985u << 2;
    *packed.row<std::uint32_t>(0, 0) = form == 'U' ? __builtin_bswap32(word) : word;
    const img::image back = reread(packed);
    EXPECT_NEAR(value(back, 0), 10.098F, 0.005F) << form;
    EXPECT_EQ(value(back, 1), 0) << form;
    EXPECT_NEAR(value(back, 2), 1, 0.0005F) << form;
  }
  img::image gray("LA", 8, 1, 1);
  *gray.row(0, 0) = 255;
  *gray.row(1, 0) = 51;
  const img::image gray_back = reread(gray);
  for (int p = 0; p < 3; ++p) EXPECT_EQ(value(gray_back, p), 1);
  EXPECT_NEAR(value(gray_back, 3), 0.2F, 0.0001F);

  // Depth is not taken for alpha.
  img::image deep = half_image("BGR", 1, 1);
  deep.set_plane(4, 'Z', 16);
  *deep.row<std::uint16_t>(4, 0) = 0;
  const img::image deep_back = reread(deep);
  EXPECT_EQ(deep_back.plane_count(), 3);
  EXPECT_EQ(deep_back.plane_of('Z'), -1);

  EXPECT_THROW(img::save(img::image(), path, nullptr, {}), io::invalid_format);
  EXPECT_THROW(img::save(gray, folder / "missing" + std::string("/a.exr"), nullptr, {}), io::open_error);
}

TEST(ExrWrite, FloatsAreNotCut) {
  const support::temp_folder folder;
  const std::string path = folder / "a.exr";
  const float values[] = {-2, 0, 0.333F, 1000};
  for (const bool alpha : {false, true}) {
    for (const bool ignore : {false, true}) {
      img::float_image image;
      image.reset(alpha, 4, 2);
      for (int p = 0; p < (alpha ? 4 : 3); ++p) {
        for (int i = 0; i < 8; ++i) image.data[p][i] = values[(i + p) % 4];
      }
      img::save_options options;
      options.ignore_alpha = ignore;
      img::find_format(path)->write_float(image, path, options);
      img::image back;
      img::load(back, path);
      ASSERT_EQ(back.plane_count(), alpha && !ignore ? 4 : 3);
      for (int p = 0; p < back.plane_count(); ++p) {
        for (int i = 0; i < 8; ++i) {
          EXPECT_EQ(back.data[p].as<std::uint16_t>()[i], half(values[(i + p) % 4]).bits()) << p << ' ' << i;
        }
      }
    }
  }
}

TEST(ExrWrite, FullDeviceIsAFailure) {
  for (const int compression : {1, 2, 3, 4}) {
    for (const int size : {64, 1000}) {
      img::save_options options;
      options.compression = compression;
      EXPECT_THROW(img::save(half_image("BGR", size, size), "/dev/full", "exr", options), io::exception)
          << compression << ' ' << size;
    }
  }
}

// Every level gives the bits of the portable rows, and writes nothing behind them.
TEST(ExrRows, LevelsAgree) {
  std::mt19937 random(3);
  std::vector<std::uint8_t> bytes(700);
  for (auto& b : bytes) b = static_cast<std::uint8_t>(random());
  std::vector<std::uint32_t> floats(300);
  for (auto& f : floats)
    f = static_cast<std::uint32_t>(random()) % 4 == 0
            ? static_cast<std::uint32_t>(random())
            : 0x38000000u + static_cast<std::uint32_t>(random()) % 0x10000000u;
  const img::simd_level best = img::current_simd_level();
  for (const img::simd_level level : {img::simd_level::baseline, img::simd_level::v3, img::simd_level::v4}) {
    img::pin_simd_level(level);
    const img::exr_row_kernels& fast = img::active_exr_rows();
    const img::exr_row_kernels& plain = img::plain_exr_rows();
    for (std::size_t offset = 0; offset < 3; ++offset) {
      for (std::size_t count = 0; count < 150; ++count) {
        std::vector<std::uint8_t> a(bytes.begin() + 11, bytes.begin() + 11 + 200);
        std::vector<std::uint8_t> b = a;
        fast.undo_differences(a.data() + offset, count);
        plain.undo_differences(b.data() + offset, count);
        ASSERT_EQ(a, b) << "undo_differences " << count;

        std::vector<std::uint16_t> c(200, 0xABCD);
        std::vector<std::uint16_t> d = c;
        fast.join_bytes(c.data() + offset, bytes.data() + offset, bytes.data() + 300, count);
        plain.join_bytes(d.data() + offset, bytes.data() + offset, bytes.data() + 300, count);
        ASSERT_EQ(c, d) << "join_bytes " << count;

        std::vector<std::uint8_t> low(200, 0xEE);
        std::vector<std::uint8_t> high = low;
        fast.split_bytes(low.data() + offset, high.data() + offset, d.data() + offset, count);
        for (std::size_t i = 0; i < 200; ++i) {
          const bool inside = i >= offset && i < offset + count;
          ASSERT_EQ(low[i], inside ? bytes[i] : 0xEE) << "split_bytes " << count;
          ASSERT_EQ(high[i], inside ? bytes[300 + i - offset] : 0xEE) << "split_bytes " << count;
        }
        std::fill(low.begin(), low.end(), std::uint8_t{0xEE});
        fast.take_differences(low.data() + offset, a.data() + offset, count);
        fast.undo_differences(low.data() + offset, count);
        for (std::size_t i = 0; i < 200; ++i) {
          ASSERT_EQ(low[i], i >= offset && i < offset + count ? a[i] : 0xEE) << "take_differences " << count;
        }

        fast.floats_to_halves(c.data() + offset, floats.data() + offset, count);
        plain.floats_to_halves(d.data() + offset, floats.data() + offset, count);
        ASSERT_EQ(c, d) << "floats_to_halves " << count;

        for (const bool wide : {false, true}) {
          for (std::size_t i = 0; i < 200; ++i) c[i] = d[i] = static_cast<std::uint16_t>(random());
          std::vector<std::uint16_t> e = c;
          std::vector<std::uint16_t> f = d;
          fast.join_wavelet(c.data() + offset, e.data() + offset, count, wide);
          plain.join_wavelet(d.data() + offset, f.data() + offset, count, wide);
          ASSERT_EQ(c, d) << "join_wavelet " << count << wide;
          ASSERT_EQ(e, f) << "join_wavelet " << count << wide;
        }
      }
    }
  }
  img::pin_simd_level(best);
}

// Against the half class, but that what is beyond the largest half is infinite even where it would round down to it.
TEST(ExrRows, HalvesAreRoundedToTheNearest) {
  const auto check = [](std::uint32_t bits) {
    float value;
    std::memcpy(&value, &bits, 4);
    const std::uint32_t in[8] = {bits, 0, bits, 0x3F800000, bits, bits, bits, bits};
    std::uint16_t out[8];
    img::active_exr_rows().floats_to_halves(out, in, 8);
    std::uint16_t expected = half(value).bits();
    if (std::fabs(value) > 65504.0F) expected = static_cast<std::uint16_t>(value < 0 ? 0xFC00 : 0x7C00);
    ASSERT_EQ(out[0], expected) << value << " bits " << bits;
    ASSERT_EQ(out[7], expected) << value << " bits " << bits;
  };
  for (std::uint32_t upper = 0; upper < 0x100000; ++upper) {
    for (const std::uint32_t lower : {0u, 1u, 0x7FFu, 0x800u, 0xFFFu}) check(upper << 12 | lower);
  }
}

}  // namespace
