#include <ImfDeepFrameBuffer.h>
#include <ImfDeepScanLineOutputFile.h>
#include <ImfPartType.h>
#include <ImfPreviewImage.h>
#include <ImfStringAttribute.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "img/format.h"
#include "img/formats/exr/files.h"
#include "io/exceptions.h"
#include "support/failure.h"
#include "support/pictures.h"
#include "support/temp_folder.h"

namespace {

using exr_files::shape;

class ExrBroken : public testing::Test {
 protected:
  std::string failure() const { return support::load_failure(path); }
  std::string failure_of(const std::string& file) const {
    support::write_file(path, file);
    return failure();
  }
  // A good file.
  std::string make_file(int compression, int tile, const std::function<unsigned()>& bits = {}) const {
    shape s;
    s.bits = bits;
    s.display = s.data = {{0, 0}, {19, 36}};
    s.compression = static_cast<Imf::Compression>(compression);
    s.tile = tile;
    exr_files::write(path, s);
    return support::read_file(path);
  }

  const support::temp_folder folder;
  const std::string path = folder / "a.exr";
};

// The libraries that read a file take different ones.
TEST_F(ExrBroken, TwoDataWindows) {
  std::string file = make_file(4, 0);
  const std::size_t at = file.find("dataWindow");
  ASSERT_NE(at, file.npos);
  std::string other = file.substr(at, 37);
  other[21] = 1;  // the first column
  file.insert(at, other);
  EXPECT_NE(failure_of(file), "no failure");
}

// Scan lines that are whole in the file are shown, the others are black, and the picture says how many.
TEST_F(ExrBroken, CutAnywhere) {
  for (const int compression : {0, 1, 2, 3, 4, 5, 7, 8}) {
    for (const int tile : {0, 16}) {
      const std::size_t whole = make_file(compression, tile).size();
      img::image expected;
      img::load(expected, path);
      bool shown = false;
      for (std::size_t size = whole - 1; size > 0; size -= 1 + size / 15) {
        std::filesystem::resize_file(path, size);
        if (failure() != "no failure") continue;
        ASSERT_EQ(tile, 0) << size << " of " << whole << " bytes, compression " << compression;
        img::image image;
        img::load(image, path);
        int missing = 0;
        ASSERT_EQ(std::sscanf(image.note.c_str(), "%d of 37 lines are missing", &missing), 1) << image.note;
        const std::size_t there = static_cast<std::size_t>(37 - missing) * 20 * 2;
        EXPECT_EQ(std::memcmp(image.data[1].data(), expected.data[1].data(), there), 0) << size;
        EXPECT_TRUE(std::all_of(image.data[1].data() + there, image.data[1].data() + image.data[1].size(),
                                [](std::uint8_t byte) { return byte == 0; }));
        shown = true;
      }
      // One chunk of 256 lines holds all of a DWAB picture, one of 32 most of a PIZ.
      EXPECT_EQ(shown, tile == 0) << compression;
    }
  }
  EXPECT_NE(failure_of(std::string(5000, 'x')), "no failure");
  std::filesystem::remove(path);
  EXPECT_EQ(failure(), "No such file or directory");
}

// Changes bytes after the name, the type and the size of an attribute.
std::string with_attribute(std::string file, const std::string& name, const std::string& type, std::size_t skip,
                           const std::vector<std::int32_t>& values) {
  const std::size_t at = file.find(name + '\0' + type + '\0') + name.size() + type.size() + 2 + 4 + skip;
  std::memcpy(&file[at], values.data(), values.size() * 4);
  return file;
}

TEST_F(ExrBroken, LiesAboutSizes) {
  constexpr std::int32_t far = 0x7FFFFFFF;
  const std::vector<std::int32_t> lies[] = {
      {0, 0, far, far},     {-far - 1, -far - 1, far, far}, {0, 0, 65535, 65535}, {0, 0, 1 << 30, 10},
      {0, 0, 10, 1 << 30},  {0, 0, 262143, 262143},         {5, 5, 4, 4},         {5, 0, -5, 10},
      {far, far, far, far}, {-far - 1, 0, -far, 10},        {0, 0, 40000, 40000},
  };
  for (const int compression : {0, 2, 3, 4, 6, 8, 9}) {
    for (const int tile : {0, 16}) {
      const std::string good = make_file(compression, tile);
      for (const auto& lie : lies) {
        // One window somewhere else, or that the chunks do not fill, may still be a picture.
        const std::string display = with_attribute(good, "displayWindow", "box2i", 0, lie);
        failure_of(display);
        failure_of(with_attribute(good, "dataWindow", "box2i", 0, lie));
        EXPECT_NE(failure_of(with_attribute(display, "dataWindow", "box2i", 0, lie)), "no failure")
            << testing::PrintToString(lie) << " compression " << compression << " tile " << tile;
      }
    }
  }
  const std::string tiled = make_file(3, 16);
  for (const std::int32_t size : {0, -1, 1, far}) {
    EXPECT_NE(failure_of(with_attribute(tiled, "tiles", "tiledesc", 0, {size, size})), "no failure") << size;
  }
  const std::string lines = make_file(0, 0);
  // Channels R at the end of the list: name, zero, type, linear, sampling.
  for (const std::int32_t step : {0, -1, far}) {
    const std::string bad = with_attribute(lines, "channels", "chlist", 18 + 18 + 10, {step, step});
    EXPECT_NE(failure_of(bad), "no failure") << step;
  }
}

// Where the places of chunks stand in a file.
std::size_t table_of(const std::string& file) {
  const std::string last_name = "screenWindowWidth";
  return file.find(last_name) + last_name.size() + 1 + 6 + 4 + 4 + 1;
}

// Places of chunks beyond the file, inside the header, all the same, none: what is read is right or refused.
TEST_F(ExrBroken, LiesAboutPlaces) {
  for (const int compression : {0, 3, 4}) {
    const std::string good = make_file(compression, 0);
    img::image expected;
    img::load(expected, path);
    for (const std::int64_t place : {std::int64_t{1} << 40, std::int64_t{-8}, std::int64_t{0}, std::int64_t{20}}) {
      std::string bad = good;
      for (std::size_t i = 0; i < 2; ++i) std::memcpy(&bad[table_of(good) + 8 * i], &place, 8);
      if (failure_of(bad) != "no failure") continue;
      img::image image;
      img::load(image, path);
      if (!image.note.empty()) continue;
      EXPECT_EQ(image.data, expected.data) << place << " compression " << compression;
    }
  }
}

// Chunks whose bytes mean nothing in any coding, and a line that is not as long as all others.
TEST_F(ExrBroken, DamagedChunksAreRefused) {
  for (int compression = 0; compression < 7; ++compression) {
    std::string bad = make_file(compression, 0, [] { return 0x3C00u; });
    const int line = compression == 0 ? 5 : 0;
    std::uint64_t chunk;
    std::memcpy(&chunk, &bad[table_of(bad) + 8 * static_cast<std::size_t>(line)], 8);
    std::uint32_t size;
    std::memcpy(&size, &bad[chunk + 4], 4);
    if (compression == 0) {
      bad[chunk + 4] = 7;
    } else {
      std::fill_n(&bad[chunk + 8], size, '\xFF');
    }
    const bool by_library = compression == 4 || compression == 6;
    const std::string expected = by_library ? "" : "Invalid chunk data at line " + std::to_string(line);
    EXPECT_EQ(failure_of(bad).substr(0, expected.size()), expected) << compression;
    EXPECT_NE(failure(), "no failure") << compression;
  }
}

TEST_F(ExrBroken, EmptySpaceIsBelievedUpToACommonSize) {
  shape s;
  s.data = {{100, 100}, {100, 100}};
  s.display = {{0, 0}, {4095, 2159}};
  exr_files::write(path, s);
  img::image image;
  img::load(image, path);
  EXPECT_EQ(image.width, 4096);
  EXPECT_EQ(image.row<std::uint16_t>(2, 100)[100], half(exr_files::sample(0, 100, 100)).bits());
  s.display = {{0, 0}, {19999, 19999}};
  exr_files::write(path, s);
  EXPECT_NE(failure().find("20000 x 20000"), std::string::npos);
}

Imf::Header part_header(const char* name, const std::string& type) {
  Imf::Header header(8, 8);
  header.setName(name);
  header.setType(type);
  header.compression() = Imf::ZIPS_COMPRESSION;
  header.channels().insert("R", Imf::Channel(Imf::HALF));
  return header;
}

// An attribute that says more than the file has, and a preview larger than its own bytes, before the library takes
// memory for them.
TEST_F(ExrBroken, ClaimsOfAttributes) {
  Imf::Header header;
  header.insert("comments", Imf::StringAttribute("twelve chars"));
  header.setPreviewImage(Imf::PreviewImage(2, 2));
  exr_files::write(path, {}, header);
  const std::string good = support::read_file(path);
  std::string bad = good;
  const std::size_t size = bad.find(std::string("comments\0string\0", 16)) + 16;
  bad.replace(size, 4, std::string("\0\0\0\x60", 4));
  EXPECT_EQ(failure_of(bad), "Attribute \"comments\" says 1610612736 bytes, but only " +
                                 std::to_string(bad.size() - size - 4) + " are left in the file");
  bad = good;
  const std::size_t preview = bad.find(std::string("preview\0preview\0", 16)) + 16 + 4;
  bad.replace(preview, 8, std::string("\0\x40\0\0\0\x40\0\0", 8));
  EXPECT_EQ(failure_of(bad), "Attribute \"preview\" says 16384 x 16384 pixels, but has 24 bytes");
  bad.replace(preview, 8, std::string("\2\0\0\0\2\0\0\0", 8));
  bad[bad.find(std::string("displayWindow\0box2i\0", 20)) + 20] = 17;
  EXPECT_EQ(failure_of(bad), "Attribute \"displayWindow\" says 17 bytes, but its value takes 16");
}

TEST_F(ExrBroken, DeepDataIsRefused) {
  {
    Imf::DeepScanLineOutputFile file(path.c_str(), part_header("deep", Imf::DEEPSCANLINE));
    std::vector<unsigned> counts(64, 1);
    std::vector<half> samples(64);
    std::vector<half*> pointers(64);
    for (std::size_t i = 0; i < 64; ++i) pointers[i] = &samples[i];
    Imf::DeepFrameBuffer source;
    source.insertSampleCountSlice(Imf::Slice(Imf::UINT, reinterpret_cast<char*>(counts.data()), 4, 32));
    source.insert("R", Imf::DeepSlice(Imf::HALF, reinterpret_cast<char*>(pointers.data()), sizeof(half*),
                                      8 * sizeof(half*), sizeof(half)));
    file.setFrameBuffer(source);
    file.writePixels(8);
  }
  EXPECT_EQ(failure(), "Unsupported deep data in part deep");
  std::vector<img::layer> layers;
  EXPECT_THROW(img::list_layers(path, nullptr, layers), io::invalid_format);
}

}  // namespace
