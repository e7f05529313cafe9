// Tiled pictures as animation programs write them: a group CIMG with the header TBHD and the tiles in TBMP.
#pragma once

#include "img/formats/shared/byte_cursor.h"
#include "img/image.h"

namespace img {

struct tiled_header {
  int width = 0;
  int height = 0;
  int channels = 3;
  int bytes = 1;  // of a sample
  bool packed = false;
};

// From the chunks after CIMG. Throws io::invalid_format with "Alpha-only images are not supported", "Unsupported
// compression" and "Invalid image dimensions".
tiled_header read_tiled_header(const byte_cursor& chunks, const std::string& path);

// Fills a picture of that size, which the file holds bottom row first. Throws io::invalid_format(path, "Invalid tile
// data") and io::eof_error.
void read_tiles(const byte_cursor& chunks, const tiled_header& header, const std::string& path, image& image);

}  // namespace img
