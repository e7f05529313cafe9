#include <ImfDeepFrameBuffer.h>
#include <ImfDeepScanLineOutputFile.h>
#include <ImfMultiPartOutputFile.h>
#include <ImfOutputPart.h>
#include <ImfPartType.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "exr_files.h"
#include "img/format.h"
#include "img/formats/exr_huffman.h"
#include "io/exceptions.h"
#include "support/temp_folder.h"

namespace {

using exr_files::shape;

// The message of the io family, or what happened in its stead.
std::string failure_of(const std::string& path, const img::layer& layer = {}) {
  img::image image;
  try {
    img::load(image, path, nullptr, &layer);
  } catch (const io::exception& e) {
    EXPECT_EQ(e.source(), path);
    return e.message();
  }
  return "no failure";
}

shape small_shape(int compression, int tile) {
  shape s;
  s.display = s.data = {{0, 0}, {19, 36}};
  s.compression = static_cast<Imf::Compression>(compression);
  s.tile = tile;
  return s;
}

TEST(ExrBroken, CutAnywhere) {
  const support::temp_folder folder;
  const std::string path = folder / "a.exr";
  for (const int compression : {0, 1, 2, 3, 4, 5, 7, 8}) {
    for (const int tile : {0, 16}) {
      exr_files::write(path, small_shape(compression, tile));
      const std::size_t whole = std::filesystem::file_size(path);
      for (std::size_t size = whole - 1; size > 0; size -= 1 + size / 15) {
        std::filesystem::resize_file(path, size);
        EXPECT_NE(failure_of(path), "no failure") << size << " of " << whole << " bytes, compression " << compression;
      }
    }
  }
}

TEST(ExrBroken, NotAPictureAtAll) {
  const support::temp_folder folder;
  const std::string path = folder / "a.exr";
  EXPECT_EQ(failure_of(path), "No such file or directory");
  support::write_file(path, std::string(5000, 'x'));
  EXPECT_NE(failure_of(path), "no failure");
  EXPECT_EQ(failure_of(folder.path()), "Unrecognized file type");
}

// Changes `count` bytes behind the name and type of an attribute of a good file.
std::string with_attribute(std::string file, const std::string& name, const std::string& type, std::size_t skip,
                           const std::vector<std::int32_t>& values) {
  const std::size_t at = file.find(name + '\0' + type + '\0') + name.size() + type.size() + 2 + 4 + skip;
  for (std::size_t i = 0; i < values.size(); ++i) std::memcpy(&file[at + 4 * i], &values[i], 4);
  return file;
}

TEST(ExrBroken, LiesAboutWindows) {
  using namespace std::string_literals;
  const support::temp_folder folder;
  const std::string path = folder / "a.exr";
  constexpr std::int32_t far = 0x7FFFFFFF;
  const std::vector<std::int32_t> lies[] = {
      {0, 0, far, far},     {-far - 1, -far - 1, far, far}, {0, 0, 65535, 65535}, {0, 0, 1 << 30, 10},
      {0, 0, 10, 1 << 30},  {0, 0, 262143, 262143},         {5, 5, 4, 4},         {5, 0, -5, 10},
      {far, far, far, far}, {-far - 1, 0, -far, 10},        {0, 0, 40000, 40000},
  };
  for (const int compression : {0, 2, 3, 4, 6, 8, 9}) {
    for (const int tile : {0, 16}) {
      exr_files::write(path, small_shape(compression, tile));
      const std::string good = support::read_file(path);
      for (const auto& lie : lies) {
        for (const char* which : {"dataWindow", "displayWindow", "both"}) {
          std::string bad = good;
          if (which != "dataWindow"s) bad = with_attribute(bad, "displayWindow", "box2i", 0, lie);
          if (which != "displayWindow"s) bad = with_attribute(bad, "dataWindow", "box2i", 0, lie);
          support::write_file(path, bad);
          // A window somewhere else, or a data window that the chunks do not fill, may still be a picture.
          const std::string failure = failure_of(path);
          if (which == "both"s) {
            EXPECT_NE(failure, "no failure") << lie[0] << ' ' << lie[1] << ' ' << lie[2] << ' ' << lie[3]
                                             << " compression " << compression << " tile " << tile;
          }
        }
      }
    }
  }
}

TEST(ExrBroken, LiesAboutOtherSizes) {
  const support::temp_folder folder;
  const std::string path = folder / "a.exr";
  exr_files::write(path, small_shape(3, 16));
  const std::string tiled = support::read_file(path);
  for (const std::int32_t size : {0, -1, 1, 0x7FFFFFFF}) {
    support::write_file(path, with_attribute(tiled, "tiles", "tiledesc", 0, {size, size}));
    EXPECT_NE(failure_of(path), "no failure") << size;
  }
  exr_files::write(path, small_shape(0, 0));
  const std::string lines = support::read_file(path);
  // Channels R at the end of the list: name, zero, type, linear, sampling.
  for (const std::int32_t step : {0, -1, 0x7FFFFFFF}) {
    support::write_file(path, with_attribute(lines, "channels", "chlist", 18 + 18 + 10, {step, step}));
    EXPECT_NE(failure_of(path), "no failure") << step;
  }
}

// Places of chunks beyond the file, inside the header, all the same, none: what is read is right or refused.
TEST(ExrBroken, LiesAboutPlaces) {
  const support::temp_folder folder;
  const std::string path = folder / "a.exr";
  for (const int compression : {0, 3, 4}) {
    exr_files::write(path, small_shape(compression, 0));
    const std::string good = support::read_file(path);
    img::image expected;
    img::load(expected, path);
    const std::string last_name = "screenWindowWidth";
    const std::size_t table = good.find(last_name) + last_name.size() + 1 + 6 + 4 + 4 + 1;
    for (const std::int64_t place : {std::int64_t{1} << 40, std::int64_t{-8}, std::int64_t{0}, std::int64_t{20}}) {
      std::string bad = good;
      for (std::size_t i = 0; i < 2; ++i) std::memcpy(&bad[table + 8 * i], &place, 8);
      support::write_file(path, bad);
      img::image image;
      try {
        img::load(image, path);
        EXPECT_EQ(image.data, expected.data) << place << " compression " << compression;
      } catch (const io::exception& e) {
        EXPECT_NE(e.message(), "") << place;
      }
    }
  }
}

// Bytes of compressed chunks in any state.
TEST(ExrBroken, DamagedChunksNeverCrash) {
  const support::temp_folder folder;
  const std::string path = folder / "a.exr";
  for (int compression = 0; compression < 10; ++compression) {
    exr_files::write(path, small_shape(compression, compression % 2 == 0 ? 0 : 16));
    const std::string good = support::read_file(path);
    const std::size_t pixels = good.size() / 3;
    for (std::size_t i = 0; i < 60; ++i) {
      std::string bad = good;
      const std::size_t at = pixels + (good.size() - pixels) * i / 60;
      for (std::size_t k = at; k < std::min(at + 1 + i % 9, bad.size()); ++k)
        bad[k] = static_cast<char>(bad[k] ^ (17 + 41 * i));
      support::write_file(path, bad);
      failure_of(path);
    }
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

struct decoded_samples {
  bool whole;
  std::vector<std::uint16_t> samples;
};

decoded_samples decode_huffman(std::vector<std::uint8_t> bytes, std::size_t count) {
  img::piz_memory memory;
  decoded_samples out{false, std::vector<std::uint16_t>(count)};
  const std::size_t size = bytes.size();
  bytes.resize(size + 8, 0xFF);
  out.whole = img::decode_exr_huffman(bytes.data(), size, out.samples.data(), count, memory);
  return out;
}

// Zeros behind the data are the code of a run here, and 0 its length.
TEST(ExrBroken, RunsOfNothingEnd) {
  EXPECT_FALSE(decode_huffman(huffman_codes({1, 1, 2}, {0x80}), 100).whole);
}

// Codes of 14 bits, the highest of them all ones, and two of 15; nothing that the lookup table of 12 bits holds.
TEST(ExrBroken, LongCodesOfOnesAlone) {
  std::vector<int> lengths(16383, 14);
  lengths.insert(lengths.end(), {15, 15});
  const decoded_samples got = decode_huffman(huffman_codes(lengths, std::vector<std::uint8_t>(9, 0xFF)), 5);
  EXPECT_TRUE(got.whole);
  EXPECT_EQ(got.samples, std::vector<std::uint16_t>(5, 16382));
}

TEST(ExrBroken, EmptySpaceIsBelievedUpToACommonSize) {
  const support::temp_folder folder;
  const std::string path = folder / "a.exr";
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
  EXPECT_NE(failure_of(path).find("20000 x 20000"), std::string::npos);
}

Imf::Header part_header(const char* name, const std::string& type) {
  Imf::Header header(8, 8);
  header.setName(name);
  header.setType(type);
  header.compression() = Imf::ZIPS_COMPRESSION;
  header.channels().insert("R", Imf::Channel(Imf::HALF));
  return header;
}

TEST(ExrBroken, FirstPlainPartIsRead) {
  const support::temp_folder folder;
  const std::string path = folder / "a.exr";
  for (const Imf::Compression compression : {Imf::NO_COMPRESSION, Imf::ZIP_COMPRESSION, Imf::PIZ_COMPRESSION}) {
    Imf::Header headers[] = {part_header("first", Imf::SCANLINEIMAGE), part_header("second", Imf::SCANLINEIMAGE)};
    std::vector<half> samples(64);
    {
      for (Imf::Header& header : headers) header.compression() = compression;
      Imf::MultiPartOutputFile file(path.c_str(), headers, 2);
      for (int part = 0; part < 2; ++part) {
        for (std::size_t i = 0; i < 64; ++i) samples[i] = static_cast<float>(i) + (part == 0 ? 0.5F : 0.0F);
        Imf::FrameBuffer source;
        source.insert("R", Imf::Slice(Imf::HALF, reinterpret_cast<char*>(samples.data()), 2, 16));
        Imf::OutputPart output(file, part);
        output.setFrameBuffer(source);
        output.writePixels(8);
      }
    }
    img::image image;
    img::load(image, path);
    for (int i = 0; i < 64; ++i) {
      EXPECT_EQ(image.data[2].as<std::uint16_t>()[i], half(static_cast<float>(i) + 0.5F).bits())
          << compression << ' ' << i;
    }
    EXPECT_EQ(image.metadata.at("name"), "first");
  }
}

TEST(ExrBroken, DeepDataIsRefused) {
  const support::temp_folder folder;
  const std::string path = folder / "a.exr";
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
  EXPECT_EQ(failure_of(path), "Unsupported deep data");
  std::vector<img::layer> layers;
  EXPECT_THROW(img::list_layers(path, nullptr, layers), io::invalid_format);
}

}  // namespace
