// Small pictures with given or random samples.
#pragma once

#include <cstdint>
#include <cstring>
#include <random>
#include <string_view>
#include <vector>

#include "img/image.h"

namespace support {

inline img::image picture(std::string_view letters, int width, int height, const std::vector<int>& values = {}) {
  img::image image(letters, 8, width, height);
  image.set_centre_anchor();
  for (std::size_t p = 0; p < letters.size(); ++p) {
    const int value = p < values.size() ? values[p] : 0;
    std::fill_n(image.data[p].data(), image.data[p].size(), static_cast<std::uint8_t>(value));
  }
  return image;
}

// The same for the same seed.
inline img::image random_picture(std::string_view letters, int width, int height, unsigned seed = 1) {
  img::image image = picture(letters, width, height);
  std::mt19937 random(seed);
  for (std::size_t p = 0; p < letters.size(); ++p) {
    for (std::size_t i = 0; i < image.data[p].size(); ++i) {
      image.data[p].data()[i] = static_cast<std::uint8_t>(random());
    }
  }
  return image;
}

// Of any depth: every sample of a plane has the same bits, given in the order of the letters.
inline img::image flat_picture(std::string_view letters, int bits, const std::vector<std::uint32_t>& samples,
                               int width = 1, int height = 1) {
  img::image image(letters, bits, width, height);
  for (std::size_t p = 0; p < samples.size(); ++p) {
    std::uint8_t* at = image.data[p].data();
    const std::size_t size = static_cast<std::size_t>(bits) / 8;
    for (std::size_t i = 0; i < image.data[p].size(); i += size) std::memcpy(at + i, &samples[p], size);
  }
  return image;
}

template <class T = std::uint8_t>
std::vector<int> samples(const img::image& image, int plane) {
  const T* begin = image.data[static_cast<std::size_t>(plane)].as<T>();
  return {begin, begin + image.data[static_cast<std::size_t>(plane)].size() / sizeof(T)};
}

// Letters with a dot for each gap between them.
inline std::string letters_of(const img::image& image) {
  std::string letters;
  for (const char letter : image.format) letters += letter ? letter : '.';
  letters.erase(letters.find_last_not_of('.') + 1);
  return letters;
}

// The first plane in which two pictures differ, -1 for none.
inline int differing_plane(const img::image& a, const img::image& b) {
  if (a.format != b.format || a.width != b.width || a.height != b.height) return 0;
  for (int p = 0; p < img::image::max_planes; ++p) {
    if (!(a.data[static_cast<std::size_t>(p)] == b.data[static_cast<std::size_t>(p)])) return p;
  }
  return -1;
}

}  // namespace support
