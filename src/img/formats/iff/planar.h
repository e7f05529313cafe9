// Interleaved bitmaps: the group ILBM, rows of bit planes with a palette or of true colour, and PBM with rows of bytes.
#pragma once

#include <array>
#include <vector>

#include "img/formats/shared/byte_cursor.h"
#include "img/image.h"

namespace img {

struct planar_header {
  int width = 0;
  int height = 0;
  int planes = 0;  // 1 to 8, 24 or 32
  int mask = 0;    // 0 none, 1 a plane of its own, 2 a colour
  int clear_color = 0;
  bool packed = false;
  bool bytes = false;  // rows of bytes, not of planes
  bool hold_and_modify = false;
  std::vector<std::array<std::uint8_t, 3>> palette;  // red, green, blue

  bool has_alpha() const { return mask != 0 || planes == 32; }
};

// From the chunks after ILBM or PBM. Throws io::invalid_format with "Unsupported compression", "Unsupported mask
// type", "Unsupported number of planes" and "Invalid image dimensions".
planar_header read_planar_header(const byte_cursor& chunks, bool bytes, const std::string& path);

// Fills a picture of that size. Throws io::eof_error.
void read_planes(const byte_cursor& chunks, const planar_header& header, const std::string& path, image& image);

}  // namespace img
