// Numbers as the bytes of a file.
#pragma once

#include <bit>
#include <cstdint>
#include <string>
#include <vector>

#include "img/transfer.h"
#include "raster_files.h"

namespace raster_files {

inline bytes number(std::uint64_t value, int size, bool big) {
  bytes out(static_cast<std::size_t>(size), '\0');
  for (int i = 0; i < size; ++i) {
    out[static_cast<std::size_t>(big ? size - 1 - i : i)] = static_cast<char>(value >> (8 * i));
  }
  return out;
}
inline bytes be16(std::uint64_t value) {
  return number(value, 2, true);
}
inline bytes be32(std::uint64_t value) {
  return number(value, 4, true);
}
inline bytes le16(std::uint64_t value) {
  return number(value, 2, false);
}
inline bytes le32(std::uint64_t value) {
  return number(value, 4, false);
}
inline bytes be_float(float value) {
  return be32(std::bit_cast<std::uint32_t>(value));
}

// A plane of 16 bits as real numbers; with `encoded`, as the 16-bit sRGB codes that they stand for.
inline std::vector<double> halves(const img::image& image, int plane) {
  std::vector<double> out;
  for (std::size_t i = 0; i < image.data[plane].size() / 2; ++i) {
    out.push_back(img::half_to_double(image.data[plane].as<std::uint16_t>()[i]));
  }
  return out;
}
// Halves have 11 bits, which is five codes of 16 bits near white.
inline void expect_codes(const img::image& image, int plane, const std::vector<int>& codes, const std::string& what) {
  const std::vector<double> values = halves(image, plane);
  ASSERT_EQ(values.size(), codes.size()) << what;
  for (std::size_t i = 0; i < codes.size(); ++i) {
    const double value = image.format[plane] == 'A' ? values[i] : img::srgb_encode(values[i]);
    EXPECT_NEAR(value * 65535, codes[i], 16) << what << " plane " << plane << " sample " << i;
  }
}

}  // namespace raster_files
