#include <ImfDeepFrameBuffer.h>
#include <ImfDeepScanLineOutputFile.h>
#include <ImfMultiPartOutputFile.h>
#include <ImfOutputPart.h>
#include <ImfPartType.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "img/format.h"
#include "img/formats/exr/files.h"
#include "img/formats/exr/huffman.h"
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

TEST_F(ExrBroken, CutAnywhere) {
  for (const int compression : {0, 1, 2, 3, 4, 5, 7, 8}) {
    for (const int tile : {0, 16}) {
      const std::size_t whole = make_file(compression, tile).size();
      for (std::size_t size = whole - 1; size > 0; size -= 1 + size / 15) {
        std::filesystem::resize_file(path, size);
        EXPECT_NE(failure(), "no failure") << size << " of " << whole << " bytes, compression " << compression;
      }
    }
  }
  EXPECT_NE(failure_of(std::string(5000, 'x')), "no failure");
  std::filesystem::remove(path);
  EXPECT_EQ(failure(), "No such file or directory");
}

// Changes bytes behind the name, the type and the size of an attribute.
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
    EXPECT_EQ(failure_of(bad), "Invalid chunk data at line " + std::to_string(line)) << compression;
  }
}

// Huffman codes as a PIZ chunk holds them, for symbols from 0 on; `data` is in whole bytes.
std::vector<std::uint8_t> huffman_codes(const std::vector<int>& lengths, const std::vector<std::uint8_t>& data) {
  std::vector<std::uint8_t> bytes(20);
  const auto put = [&](std::size_t at, std::size_t value) {
    for (std::size_t i = 0; i < 4; ++i) bytes[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
  };
  put(4, lengths.size() - 1);
  put(12, data.size() * 8);
  int free_bits = 0;
  for (const int length : lengths) {
    for (int bit = 5; bit >= 0; --bit) {
      if (free_bits == 0) {
        bytes.push_back(0);
        free_bits = 8;
      }
      bytes.back() = static_cast<std::uint8_t>(bytes.back() | (length >> bit & 1) << --free_bits);
    }
  }
  bytes.insert(bytes.end(), data.begin(), data.end());
  return bytes;
}

// No samples for damage.
std::vector<std::uint16_t> decode_huffman(std::vector<std::uint8_t> bytes, std::size_t count) {
  img::piz_memory memory;
  std::vector<std::uint16_t> samples(count);
  const std::size_t size = bytes.size();
  bytes.resize(size + 8, 0xFF);
  if (!img::decode_exr_huffman(bytes.data(), size, samples.data(), count, memory)) samples.clear();
  return samples;
}

TEST_F(ExrBroken, OddHuffmanCodes) {
  // Zeros behind the data are the code of a run here, and 0 its length.
  EXPECT_TRUE(decode_huffman(huffman_codes({1, 1, 2}, {0x80}), 100).empty());
  // Codes of 14 bits, the highest of them all ones, and two of 15; nothing that the lookup table of 12 bits holds.
  std::vector<int> lengths(16383, 14);
  lengths.insert(lengths.end(), {15, 15});
  const auto ones = huffman_codes(lengths, std::vector<std::uint8_t>(9, 0xFF));
  EXPECT_EQ(decode_huffman(ones, 5), std::vector<std::uint16_t>(5, 16382));
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

TEST_F(ExrBroken, FirstPlainPartIsRead) {
  for (const Imf::Compression compression : {Imf::NO_COMPRESSION, Imf::ZIP_COMPRESSION, Imf::PIZ_COMPRESSION}) {
    Imf::Header headers[] = {part_header("first", Imf::SCANLINEIMAGE), part_header("second", Imf::SCANLINEIMAGE)};
    for (Imf::Header& header : headers) header.compression() = compression;
    {
      Imf::MultiPartOutputFile file(path.c_str(), headers, 2);
      for (const int part : {0, 1}) {
        std::vector<half> samples(64, half(part == 0 ? 0.5F : 2.0F));
        Imf::FrameBuffer source;
        source.insert("R", Imf::Slice(Imf::HALF, reinterpret_cast<char*>(samples.data()), 2, 16));
        Imf::OutputPart output(file, part);
        output.setFrameBuffer(source);
        output.writePixels(8);
      }
    }
    img::image image;
    img::load(image, path);
    EXPECT_EQ(support::samples<std::uint16_t>(image, 2), std::vector<int>(64, 0x3800)) << compression;
    EXPECT_EQ(image.metadata.at("name"), "first");
  }
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
  EXPECT_EQ(failure(), "Unsupported deep data");
  std::vector<img::layer> layers;
  EXPECT_THROW(img::list_layers(path, nullptr, layers), io::invalid_format);
}

}  // namespace
