#include <gtest/gtest.h>

#include <filesystem>
#include <random>

#include "img/format.h"
#include "img/formats/exr/files.h"
#include "paths.h"
#include "support/ffmpeg.h"
#include "support/levels.h"
#include "support/temp_folder.h"

namespace {

using exr_files::channel;
using exr_files::shape;

void expect_reference(const std::string& path, const std::string& what) {
  const exr_files::reference expected = exr_files::read_reference(path);
  img::image image;
  img::load(image, path);
  ASSERT_EQ(image.width, expected.width) << what;
  ASSERT_EQ(image.height, expected.height) << what;
  EXPECT_EQ(image.user[0], (math::point{expected.width / 2, expected.height / 2})) << what;
  const char letters[] = {'B', 'G', 'R', expected.has_alpha ? 'A' : '\0', expected.has_depth ? 'Z' : '\0'};
  for (int p = 0; p < 5; ++p) {
    EXPECT_EQ(image.format[p], letters[p]) << what;
    ASSERT_EQ(image.has_plane(p), letters[p] != 0) << what;
    if (!image.has_plane(p)) continue;
    EXPECT_EQ(image.depth[p], 16) << what;
    for (std::size_t i = 0; i < expected.planes[p].size(); ++i) {
      ASSERT_EQ(image.data[p].as<std::uint16_t>()[i], expected.planes[p][i])
          << what << ", plane " << p << " at " << i % expected.width << ", " << i / expected.width;
    }
  }
}

constexpr const char* compression_names[] = {"none",  "rle", "zips", "zip",  "piz",
                                             "pxr24", "b44", "b44a", "dwaa", "dwab"};

class ExrRead : public testing::Test {
 protected:
  void expect_reference_of(const shape& s, const std::string& what) const {
    exr_files::write(path, s);
    expect_reference(path, what + ", " + compression_names[s.compression] + ", tile " + std::to_string(s.tile));
  }

  const support::temp_folder folder;
  const std::string path = folder / "Überblendung 背景.exr";
};

// Every relation of the windows, as data windows over a display window from 10, 20 to 46, 72.
struct window_case {
  const char* what;
  Imath::Box2i data;
};
const window_case windows[] = {
    {"equal", {{10, 20}, {46, 72}}},
    {"inside", {{15, 30}, {40, 47}}},
    {"around", {{-7, -3}, {61, 90}}},
    {"beyond the upper left", {{-20, -20}, {30, 40}}},
    {"beyond the lower right", {{30, 40}, {70, 100}}},
    {"beside", {{100, 20}, {120, 72}}},
    {"above", {{10, -60}, {46, 19}}},
    {"one pixel", {{46, 72}, {46, 72}}},
};

TEST_F(ExrRead, EveryCompressionAndWindow) {
  for (int compression = 0; compression < 10; ++compression) {
    for (const window_case& w : windows) {
      for (const int tile : {0, 16}) {
        shape s;
        s.display = {{10, 20}, {46, 72}};
        s.data = w.data;
        s.compression = static_cast<Imf::Compression>(compression);
        s.tile = tile;
        s.channels = {{"R"}, {"G"}, {"B"}, {"A"}, {"Z", Imf::FLOAT}};
        expect_reference_of(s, w.what);
      }
    }
  }
}

// Lines that the picture needs begin and end inside a tile.
TEST_F(ExrRead, TilesFarHigherThanThePicture) {
  for (int compression = 0; compression < 10; ++compression) {
    shape s;
    s.display = {{10, 20}, {46, 72}};
    s.data = {{15, -300}, {40, 400}};
    s.compression = static_cast<Imf::Compression>(compression);
    s.tile = 512;
    s.channels = {{"R"}, {"G", Imf::FLOAT}, {"B", Imf::UINT}, {"matte"}};
    expect_reference_of(s, "high tiles");
  }
}

TEST_F(ExrRead, EverySetOfChannels) {
  const std::vector<channel> sets[] = {
      {{"R"}, {"G"}, {"B"}},
      {{"R"}, {"G"}, {"B"}, {"Z"}},
      {{"R", Imf::FLOAT}, {"G", Imf::FLOAT}, {"B", Imf::FLOAT}, {"A", Imf::FLOAT}},
      {{"R", Imf::UINT}, {"G", Imf::HALF}, {"B", Imf::FLOAT}, {"Z", Imf::UINT}},
      {{"G"}},
      {{"A"}},
      {{"Y"}},
      {{"Y", Imf::FLOAT}, {"A"}, {"Z"}},
      {{"Y"}, {"RY", Imf::HALF, 2, 2}, {"BY", Imf::HALF, 2, 2}},
      {{"Y"}, {"RY", Imf::HALF, 2, 2}, {"BY", Imf::HALF, 2, 2}, {"A"}, {"Z", Imf::FLOAT}},
      {{"R"}, {"G"}, {"B"}, {"small", Imf::HALF, 2, 2}, {"wide", Imf::FLOAT, 3, 1}, {"zz.q", Imf::UINT}},
      {{"R", Imf::HALF, 1, 1, true}, {"G"}, {"B"}, {"A"}},
      {{"matte"}, {"crypto.q"}},
  };
  for (const auto& channels : sets) {
    std::string what;
    bool sampled = false;
    for (const channel& c : channels) {
      what += c.name + " ";
      sampled = sampled || c.x_step > 1;
    }
    for (int compression = 0; compression < 10; ++compression) {
      for (const int tile : {0, 32}) {
        if (tile > 0 && sampled) continue;  // no such files
        shape s;
        s.data = {{-4, -2}, {33, 41}};  // of even sizes and places, as sub-sampled channels want
        s.display = {{-6, 0}, {29, 45}};
        if (what.find("wide") != std::string::npos) s.data = {{-6, -2}, {29, 41}};
        s.channels = channels;
        s.compression = static_cast<Imf::Compression>(compression);
        s.tile = tile;
        expect_reference_of(s, what);
      }
    }
  }
}

// Pictures of one value, of two, of noise in few and in all 16 bits: runs, short and long codes.
TEST_F(ExrRead, EveryKindOfContent) {
  std::mt19937 random(5);
  std::exponential_distribution<> falling(0.01);
  const std::pair<const char*, std::function<unsigned()>> contents[] = {
      {"zeros", [] { return 0u; }},
      {"ones", [] { return 0x3C00u; }},
      {"few ones", [&] { return random() % 50 == 0 ? 0x3C00u : 0u; }},
      {"seven values", [&] { return 0x3800u + random() % 7; }},
      {"falling", [&] { return std::min(0x3000u + static_cast<unsigned>(falling(random)), 0xFFFFu); }},
      {"all bits", [&] { return static_cast<unsigned>(random() & 0xFFFFu); }},
  };
  for (const auto& [what, bits] : contents) {
    for (int compression = 0; compression < 10; ++compression) {
      // Lossy codings of values that are no numbers are left to themselves.
      if (what == std::string("all bits") && compression > 5) continue;
      shape s;
      s.display = s.data = {{0, 0}, {199, 149}};
      s.compression = static_cast<Imf::Compression>(compression);
      s.channels = {{"G"}};
      s.bits = bits;
      expect_reference_of(s, what);
    }
  }
}

TEST_F(ExrRead, LevelsAndLineOrders) {
  for (const Imf::LineOrder order : {Imf::INCREASING_Y, Imf::DECREASING_Y, Imf::RANDOM_Y}) {
    for (const Imf::LevelMode levels : {Imf::ONE_LEVEL, Imf::MIPMAP_LEVELS, Imf::RIPMAP_LEVELS}) {
      for (const int tile : {0, 8}) {
        if (tile == 0 && (levels != Imf::ONE_LEVEL || order == Imf::RANDOM_Y)) continue;
        for (const Imf::Compression compression : {Imf::NO_COMPRESSION, Imf::ZIPS_COMPRESSION, Imf::PIZ_COMPRESSION}) {
          shape s;
          s.order = order;
          s.levels = levels;
          s.tile = tile;
          s.compression = compression;
          expect_reference_of(s, std::to_string(order) + std::to_string(levels));
        }
      }
    }
  }
}

TEST_F(ExrRead, AnyNumberOfThreadsGivesTheSame) {
  for (const Imf::Compression compression : {Imf::NO_COMPRESSION, Imf::ZIP_COMPRESSION, Imf::RLE_COMPRESSION}) {
    shape s;
    s.data = s.display = {{0, 0}, {122, 402}};
    s.compression = compression;
    exr_files::write(path, s);
    support::every_thread_count([&](int threads) { expect_reference(path, std::to_string(threads) + " threads"); });
  }
}

TEST_F(ExrRead, NamesOutsideAscii) {
  const support::temp_folder folder;
  const std::string path = folder / "Überblendung 背景.exr";
  exr_files::write(path, {});
  expect_reference(path, "name");
}

TEST_F(ExrRead, HeaderAloneGivesSizeAlphaAndLayers) {
  shape s;
  s.display = {{5, 5}, {104, 54}};
  s.channels = {{"R"}, {"A"}, {"spec.R"}, {"spec.G"}};
  exr_files::write(path, s);
  // The table of offsets is there, of the pixels hardly any.
  std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
  const img::picture_header header = img::find_format(path)->read_header(path, img::layer());
  EXPECT_EQ(header.width, 100);
  EXPECT_EQ(header.height, 50);
  EXPECT_TRUE(header.has_alpha);
  EXPECT_EQ(header.layers, (std::vector<img::layer>{{}, {2, 1, "spec"}}));
  EXPECT_FALSE(img::find_format(path)->read_header(path, {2, 1, "spec"}).has_alpha);
}

// Real files of many programs.
TEST_F(ExrRead, SamplesReadAsTheLibraryReadsThem) {
  const std::filesystem::path samples = KESTRIN_SAMPLES_DIR;
  if (support::have_ffmpeg()) {
    for (const char* options :
         {"-compression none -pix_fmt gbrpf32", "-compression rle -pix_fmt gbrapf32",
          "-compression zip1 -format half -pix_fmt gbrpf32", "-compression zip16 -format half -pix_fmt gbrapf32"}) {
      const std::string made = folder / "made.exr";
      ASSERT_TRUE(
          support::run_ffmpeg(std::string("-f lavfi -i testsrc2=size=61x43 -frames:v 1 ") + options + " " + made));
      expect_reference(made, options);
    }
  }
  if (!std::filesystem::is_directory(samples)) return;
  int count = 0;
  for (const char* folder : {"exr", "exr/sequence", "sxr"}) {
    for (const auto& entry : std::filesystem::directory_iterator(samples / folder)) {
      if (!entry.is_regular_file()) continue;
      expect_reference(entry.path(), entry.path());
      ++count;
    }
  }
  EXPECT_GE(count, 13);
}

}  // namespace
