// DPX and Cineon files put together field by field, at the offsets of the published standards.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "img/format.h"
#include "support/temp_folder.h"

namespace film_files {

struct bytes {
  std::string data;
  bool big_endian = true;

  void put(std::size_t offset, std::uint32_t value, int count) {
    for (int i = 0; i < count; ++i) {
      data[offset + static_cast<std::size_t>(big_endian ? count - 1 - i : i)] = static_cast<char>(value >> (8 * i));
    }
  }
  void put8(std::size_t offset, std::uint32_t value) { put(offset, value, 1); }
  void put16(std::size_t offset, std::uint32_t value) { put(offset, value, 2); }
  void put32(std::size_t offset, std::uint32_t value) { put(offset, value, 4); }
  void put_real(std::size_t offset, float value) {
    std::uint32_t bits;
    std::memcpy(&bits, &value, 4);
    put32(offset, bits);
  }
  void put_text(std::size_t offset, std::string_view text) { data.replace(offset, text.size(), text); }
  void add(std::uint32_t value, int count) {
    data.append(static_cast<std::size_t>(count), '\0');
    put(data.size() - static_cast<std::size_t>(count), value, count);
  }
  std::uint32_t get(std::size_t offset, int count) const {
    std::uint32_t value = 0;
    for (int i = 0; i < count; ++i) {
      value = value << 8 |
              static_cast<unsigned char>(data[offset + static_cast<std::size_t>(big_endian ? i : count - 1 - i)]);
    }
    return value;
  }
};

struct shape {
  int width = 5;
  int height = 3;
  int bits = 10;
  int descriptor = 50;
  bool big_endian = true;
  std::uint32_t padding = 0;
  std::uint32_t offset = 2048;
  int packing = 1;
  int orientation = 0;
  bool wide = false;     // 10 bits in 16
  bool aligned = false;  // rows end at a multiple of four bytes, of which the header says nothing
};

// 10-bit codes of the test picture, all fields different.
inline std::uint32_t code(int x, int y, int channel) {
  return static_cast<std::uint32_t>((x * 37 + y * 101 + channel * 331 + 7) & 1023);
}
inline std::uint32_t word(int x, int y) {
  return code(x, y, 0) << 22 | code(x, y, 1) << 12 | code(x, y, 2) << 2;
}

// Channels of a pixel in the order of the file: 0 red (or luma), 1 green, 2 blue, 3 alpha.
inline std::vector<int> channels_of(const shape& s) {
  if (s.descriptor == 6) return {0};
  if (s.descriptor == 51) return {0, 1, 2, 3};
  if (s.descriptor == 52) return {3, 2, 1, 0};
  return {0, 1, 2};
}

// A sample as deep as the file has it. Lower bits that a reader drops are set.
inline std::uint32_t sample(const shape& s, int x, int y, int channel) {
  const std::uint32_t v = code(x, y, channel);
  return s.bits < 10 ? v >> 2 : v << (s.bits - 10) | ((1u << (s.bits - 10)) - 1);
}

inline float real_sample(int x, int y, int channel) {
  return static_cast<float>(code(x, y, channel)) / 512.0F - 0.5F;
}

// The rows of the test picture.
inline void add_pixels(bytes& file, const shape& s) {
  file.data.resize(s.offset, '\xEE');
  const std::vector<int> channels = channels_of(s);
  const int n = static_cast<int>(channels.size());
  for (int y = 0; y < s.height; ++y) {
    const auto channel = [&](int i) { return channels[static_cast<std::size_t>(i % n)]; };
    std::vector<std::uint32_t> row;
    for (int i = 0; i < s.width * n && s.bits != 32; ++i) row.push_back(sample(s, i / n, y, channel(i)));
    if (s.bits == 32) {
      for (int i = 0; i < s.width * n; ++i)
        file.add(std::bit_cast<std::uint32_t>(real_sample(i / n, y, channel(i))), 4);
    } else if (s.bits == 8) {
      for (const std::uint32_t v : row) file.add(v, 1);
    } else if (s.bits == 16 || s.wide || (s.bits == 12 && s.packing != 0)) {
      for (const std::uint32_t v : row) {
        file.add(s.packing == 2 ? v : v << (16 - s.bits) | (s.wide ? 0x3Fu : 0u), 2);
      }
    } else if (s.packing == 0) {
      // From the lowest bit of each word up.
      std::vector<std::uint32_t> words((row.size() * static_cast<std::size_t>(s.bits) + 31) / 32);
      for (std::size_t bit = 0; bit < row.size() * static_cast<std::size_t>(s.bits); ++bit) {
        const std::size_t bits = static_cast<std::size_t>(s.bits);
        words[bit / 32] |= (row[bit / bits] >> (bit % bits) & 1u) << (bit % 32);
      }
      for (const std::uint32_t word : words) file.add(word, 4);
    } else {
      for (std::size_t i = 0; i < row.size(); i += 3) {
        std::uint32_t packed = 0;
        for (std::size_t k = 0; k < 3 && i + k < row.size(); ++k) {
          packed |= row[i + k] << (10 * (n == 1 ? k : 2 - k) + (s.packing == 2 ? 0 : 2));
        }
        file.add(packed, 4);
      }
    }
    if (s.aligned) file.data.append((s.offset - file.data.size()) % 4, '\xAB');
    file.data.append(s.padding, '\xAB');
  }
}

// All fields that are not needed are unset.
inline bytes make_dpx(const shape& s) {
  bytes file{std::string(2048, '\xFF'), s.big_endian};
  file.put32(0, 0x53445058);
  file.put32(4, s.offset);
  file.put_text(8, std::string_view("V2.0\0", 5));
  file.put16(768, static_cast<std::uint32_t>(s.orientation));
  file.put16(770, 1);
  file.put32(772, static_cast<std::uint32_t>(s.width));
  file.put32(776, static_cast<std::uint32_t>(s.height));
  file.put8(800, static_cast<std::uint32_t>(s.descriptor));
  file.put8(803, static_cast<std::uint32_t>(s.bits));
  file.put16(804, static_cast<std::uint32_t>(s.packing));
  file.put16(806, 0);
  if (s.padding != 0) file.put32(812, s.padding);
  add_pixels(file, s);
  return file;
}

inline bytes make_cineon(const shape& s) {
  bytes file{std::string(2048, '\xFF'), s.big_endian};
  file.put32(0, 0x802A5FD7);
  file.put32(4, s.offset);
  file.put8(192, static_cast<std::uint32_t>(s.orientation));
  file.put8(193, 3);
  for (std::size_t channel = 196; channel < 196 + 3 * 28; channel += 28) {
    file.put8(channel + 2, static_cast<std::uint32_t>(s.bits));
    file.put32(channel + 4, static_cast<std::uint32_t>(s.width));
    file.put32(channel + 8, static_cast<std::uint32_t>(s.height));
  }
  file.put8(680, 0);
  file.put8(681, static_cast<std::uint32_t>(s.packing));
  if (s.padding != 0) file.put32(684, s.padding);
  add_pixels(file, s);
  return file;
}

inline img::image load(const bytes& file) {
  const support::temp_folder folder;
  support::write_file(folder / "a.dpx", file.data);
  img::image image;
  img::load(image, folder / "a.dpx");
  return image;
}

}  // namespace film_files
