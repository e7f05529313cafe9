// Channels of a Photoshop document as rows of samples.
#pragma once

#include <cstdint>
#include <functional>

#include "img/formats/psd/document.h"

namespace img {

// One channel, or all of the merged picture one after the other, following the word that tells the compression.
struct psd_planes {
  std::int64_t position = 0;
  std::int64_t end = 0;
  int width = 0;
  int height = 0;
  int count = 1;  // planes of this size
  int bits = 8;
  bool large = false;

  std::size_t row_bytes() const { return (static_cast<std::size_t>(width) * static_cast<std::size_t>(bits) + 7) / 8; }
};

// Calls put(plane, y, row) for the first `wanted` planes, samples most significant byte first, on all threads. Throws
// io::eof_error and io::invalid_format with "Unsupported compression method" and "Invalid compressed data".
void read_psd_planes(const source_file& file, const psd_planes& planes, int wanted,
                     const std::function<void(int plane, int y, const std::uint8_t* row)>& put);

}  // namespace img
