#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <random>

#include "img/format.h"
#include "img/formats/exr/files.h"
#include "img/formats/exr/rows.h"
#include "img/transfer.h"
#include "io/exceptions.h"
#include "support/levels.h"
#include "support/pictures.h"
#include "support/temp_folder.h"

namespace {

using support::flat_picture;

class ExrWrite : public testing::Test {
 protected:
  // Through a file.
  img::image reread(const img::image& image, const img::save_options& options = {}) const {
    img::save(image, path, nullptr, options);
    img::image back;
    img::load(back, path);
    return back;
  }

  const support::temp_folder folder;
  const std::string path = folder / "a.exr";
};

float value_of(const img::image& image, int plane) {
  return static_cast<float>(img::half_to_double(*image.row<std::uint16_t>(plane, 0)));
}

// Pictures of few and of many chunks, in part such that no coding makes them smaller, read by the library.
TEST_F(ExrWrite, OtherProgramsReadIt) {
  std::mt19937 random(7);
  const std::pair<int, int> sizes[] = {{1, 1}, {3, 15}, {130, 16}, {67, 33}, {700, 331}};
  for (const auto& size : sizes) {
    const int width = size.first;
    const int height = size.second;
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
          img::save(image, path, nullptr, {.compression = compression});
          const exr_files::reference back = exr_files::read_reference(path);
          ASSERT_EQ(back.width, width);
          ASSERT_EQ(back.height, height);
          for (std::size_t p = 0; p < static_cast<std::size_t>(image.plane_count()); ++p) {
            ASSERT_EQ(std::memcmp(back.planes[p].data(), image.data[p].data(), image.data[p].size()), 0)
                << width << " x " << height << ", plane " << p << ", compression " << compression << ", threads "
                << threads;
          }
        });
        const auto plain = image.data[0].size() * static_cast<std::size_t>(image.plane_count());
        const auto most = compression != 1 && height > 300 ? plain * 3 / 4 : plain + 2000 + 16u * height;
        EXPECT_LT(std::filesystem::file_size(path), most);
      }
    }
  }
}

TEST_F(ExrWrite, HeaderAndCompression) {
  const std::pair<int, const char*> compressions[] = {{0, "ZIP"}, {1, "NO"},   {2, "RLE"},
                                                      {3, "ZIP"}, {4, "B44A"}, {99, "ZIP"}};
  const img::image picture = flat_picture("BGRA", 16, {0x3C00, 0x3800, 0x3400, 0x3C00}, 20, 10);
  for (const auto& [option, compression] : compressions) {
    for (const bool ignore_alpha : {false, true}) {
      const img::image back = reread(picture, {.compression = option, .ignore_alpha = ignore_alpha});
      EXPECT_EQ(back.plane_count(), ignore_alpha ? 3 : 4);
      for (int p = 0; p < back.plane_count(); ++p) EXPECT_EQ(back.data[p], picture.data[p]) << option << p;
      EXPECT_EQ(back.metadata,
                (std::map<std::string, std::string>{
                    {"channels", ignore_alpha ? "B HALF, G HALF, R HALF" : "A HALF, B HALF, G HALF, R HALF"},
                    {"compression", compression + std::string("_COMPRESSION")},
                    {"dataWindow", "0 0 19 9"},
                    {"displayWindow", "0 0 19 9"},
                    {"lineOrder", "INCREASING_Y"},
                    {"pixelAspectRatio", "1"},
                    {"screenWindowCenter", "0 0"},
                    {"screenWindowWidth", "1"}}));
    }
  }
}

TEST_F(ExrWrite, CodesAndRateComeBack) {
  img::image image = flat_picture("BGR", 16, {0, 0, 0});
  image.timecode = img::make_timecode(1, 2, 3, 4, 0, 1, true);
  image.keycode = {1, 2, 3, 4, 5, 6, 70};
  image.frame_rate_nm = 24000;
  image.frame_rate_dn = 1001;
  const img::image back = reread(image);
  EXPECT_EQ(back.timecode, image.timecode);
  EXPECT_EQ(back.keycode, image.keycode);
  EXPECT_EQ(back.frame_rate_nm, 24000);
  EXPECT_EQ(back.frame_rate_dn, 1001);
}

// By hand: sRGB byte 128 is 0.21586 linear, 10 is 0.0030353; alpha is linear. Code 685 is 1, 95 is 0; 985 is a decade
// more of what stands above the base: (10 - 0.0107978) * 1.0109156.
TEST_F(ExrWrite, EveryPixelFormGoesOut) {
  const std::uint32_t word = 685u << 22 | 95u << 12 | 985u << 2;
  img::image deep = flat_picture("BGR", 16, {0x3C00, 0, 0xC000});
  deep.set_plane(4, 'Z', 16);  // depth is not taken for alpha
  const struct {
    const char* what;
    img::image image;
    std::vector<float> expected;
  } rows[] = {
      {"bytes", flat_picture("BGRA", 8, {0, 10, 128, 128}), {0, 0.0030353F, 0.21586F, 0.501961F}},
      {"white", flat_picture("BGRA", 8, {255, 255, 255, 255}), {1, 1, 1, 1}},
      {"gray", flat_picture("LA", 8, {255, 51}), {1, 1, 1, 0.2F}},
      {"U", flat_picture("U", 32, {__builtin_bswap32(word)}), {10.098F, 0, 1}},
      {"u", flat_picture("u", 32, {word}), {10.098F, 0, 1}},
      {"W", flat_picture("W", 32, {word}), {10.098F, 0, 1}},
      {"depth", deep, {1, 0, -2}},
  };
  for (const auto& row : rows) {
    const img::image back = reread(row.image);
    ASSERT_EQ(back.plane_count(), static_cast<int>(row.expected.size())) << row.what;
    EXPECT_EQ(back.plane_of('Z'), -1) << row.what;
    for (int p = 0; p < back.plane_count(); ++p) {
      const float expected = row.expected[static_cast<std::size_t>(p)];
      EXPECT_NEAR(value_of(back, p), expected, std::fabs(expected) * 0.0005F) << row.what << ' ' << p;
    }
  }
  EXPECT_THROW(img::save(img::image(), path, nullptr, {}), io::invalid_format);
  EXPECT_THROW(img::save(deep, folder / "missing" + std::string("/a.exr"), nullptr, {}), io::open_error);
}

TEST_F(ExrWrite, FloatsAreNotCut) {
  const float values[] = {-2, 0, 0.333F, 1000};
  for (const bool alpha : {false, true}) {
    for (const bool ignore : {false, true}) {
      img::float_image image;
      image.reset(alpha, 4, 2);
      for (int p = 0; p < (alpha ? 4 : 3); ++p) {
        for (int i = 0; i < 8; ++i) image.data[p][i] = values[(i + p) % 4];
      }
      img::find_format(path)->write_float(image, path, {.ignore_alpha = ignore});
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

TEST_F(ExrWrite, FullDeviceIsAFailure) {
  for (const int compression : {1, 2, 3, 4}) {
    for (const int size : {64, 1000}) {
      const img::image image = flat_picture("BGR", 16, {0x3C00, 0, 0x3800}, size, size);
      EXPECT_THROW(img::save(image, "/dev/full", "exr", {.compression = compression}), io::exception)
          << compression << ' ' << size;
    }
  }
}

// Every level gives the bits of the portable rows and changes nothing beside them.
TEST(ExrRows, LevelsAgree) {
  // Parts of one block of memory, for what goes in and what comes out.
  constexpr std::size_t part = 200;
  std::mt19937 random(3);
  std::vector<std::uint32_t> memory(4 * part);
  for (auto& word : memory) {
    const auto bits = static_cast<std::uint32_t>(random());
    word = bits % 4 == 0 ? bits : 0x38000000u + bits % 0x10000000u;  // as floats: any, or of the range of halves
  }
  support::every_level([&](const char* level) {
    for (std::size_t offset = 0; offset < 3; ++offset) {
      for (std::size_t count = 0; count < 150; ++count) {
        const auto compare = [&](const char* what, auto&& run) {
          auto fast = memory;
          auto plain = memory;
          run(img::active_exr_kernels(), fast.data());
          run(img::plain_exr_kernels(), plain.data());
          ASSERT_EQ(fast, plain) << what << ' ' << level << ' ' << count;
        };
        using words = std::uint32_t*;
        const auto bytes = [&](words at) { return reinterpret_cast<std::uint8_t*>(at) + offset; };
        const auto halves = [&](words at) { return reinterpret_cast<std::uint16_t*>(at) + offset; };
        compare("undo", [&](const auto& rows, words at) { rows.undo_differences(bytes(at), count); });
        compare("take", [&](const auto& rows, words at) { rows.take_differences(bytes(at), bytes(at + part), count); });
        compare("join", [&](const auto& rows, words at) {
          rows.join_bytes(halves(at), bytes(at + part), bytes(at + 2 * part), count);
        });
        compare("split", [&](const auto& rows, words at) {
          rows.split_bytes(bytes(at), bytes(at + part), halves(at + 2 * part), count);
        });
        compare("halves",
                [&](const auto& rows, words at) { rows.floats_to_halves(halves(at), at + part + offset, count); });
      }
    }
  });
}

// Against the half class, but that what is beyond the largest half is infinite even where it would round down to it.
TEST(ExrRows, HalvesAreRoundedToTheNearest) {
  const auto check = [](std::uint32_t bits) {
    float value;
    std::memcpy(&value, &bits, 4);
    const std::uint32_t in[8] = {bits, 0, bits, 0x3F800000, bits, bits, bits, bits};
    std::uint16_t out[8];
    img::active_exr_kernels().floats_to_halves(out, in, 8);
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
