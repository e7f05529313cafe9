// Runs the samples of a picture, whatever its form, through a cube.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "img/image.h"
#include "img/lookup/table.h"

namespace img {

// Reads the colours of a picture as 10-bit linear indexes and gives the cube's results. Keeps references to both
// arguments. Any number of threads may read.
class cube_reader {
 public:
  static constexpr std::size_t block = 512;  // samples at most in one call

  cube_reader(const image& image, const lookup_table& table);

  // 14-bit fixed results for samples first to first + count - 1 of the whole picture: four values a sample, blue,
  // green, red and one without meaning.
  void read(std::uint16_t* nodes, std::size_t first, std::size_t count) const;

 private:
  const image& image_;
  const lookup_table& table_;
  std::array<int, 3> planes_;  // that hold blue, green, red; the same one thrice for a gray picture
};

// The same for a row of 8-bit samples.
void cube_of_bytes(std::uint16_t* nodes, const std::uint8_t* b, const std::uint8_t* g, const std::uint8_t* r,
                   std::size_t count, const lookup_table& table);

}  // namespace img
