// TIFF 6.0 files with one picture in strips.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "img/format.h"

namespace img {

// The picture to write: rows of interleaved samples, red, green, blue and maybe alpha, or gray and maybe alpha.
struct tiff_content {
  int width = 0;
  int height = 0;
  int samples = 1;  // of a pixel
  int bits = 8;     // of a sample: 8 or 16, or 32 for floats
  // Writes row y, width * samples samples in the machine's byte order. Called on all threads.
  std::function<void(int y, std::uint8_t* out)> row;

  std::size_t row_bytes() const {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(samples) * static_cast<std::size_t>(bits / 8);
  }
};

// `compression` as in save_options: 2 PackBits, 3 Deflate, 5 LZW, all others none. Throws the io family, and
// io::invalid_format(path, ...) for a picture beyond the 4 GiB of the format.
void write_tiff(const tiff_content& content, const std::string& path, int compression);

}  // namespace img
