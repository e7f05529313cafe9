// One picture of a TIFF file, as its directory describes it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "img/formats/tiff/directory.h"

namespace img {

// Values of the tags Compression and PhotometricInterpretation that the reader knows by name.
enum tiff_compression {
  tiff_none = 1,
  tiff_lzw = 5,
  tiff_jpeg = 7,
  tiff_deflate = 8,
  tiff_old_deflate = 32946,
  tiff_packbits = 32773
};
enum tiff_photometric {
  tiff_white_is_zero = 0,
  tiff_black_is_zero = 1,
  tiff_rgb = 2,
  tiff_palette = 3,
  tiff_cmyk = 5,
  tiff_ycbcr = 6
};

struct tiff_picture {
  std::int64_t position = 0;  // of the directory
  int width = 0;              // as the file holds it, before it is turned
  int height = 0;
  int bits = 1;         // of a sample; all samples have the same
  int samples = 1;      // of a pixel
  int colors = 1;       // of these, those that hold colour
  bool floats = false;  // real numbers
  int photometric = tiff_black_is_zero;
  int compression = tiff_none;
  int predictor = 1;
  bool planar = false;         // one block after another for each sample
  bool reversed_bits = false;  // the lowest bit of each byte comes first
  int orientation = 1;
  bool has_alpha = false;
  bool old_lzw = false;  // LZW with the lowest bit first, as before TIFF 5
  bool tiled = false;
  int block_width = 0;                 // of a tile, or the width of the picture
  int block_height = 0;                // of a tile or strip
  std::vector<std::uint64_t> offsets;  // of the blocks
  std::vector<std::uint64_t> sizes;
  std::vector<std::uint64_t> palette;  // reds, greens, blues, 16 bits each

  int across() const { return (width + block_width - 1) / block_width; }
  int down() const { return (height + block_height - 1) / block_height; }
  // Samples of a pixel that stand in one block.
  int block_samples() const { return planar ? 1 : samples; }
  // Bytes of a row of a block when it is unpacked.
  std::size_t row_bytes() const {
    return (static_cast<std::size_t>(block_width) * static_cast<std::size_t>(block_samples() * bits) + 7) / 8;
  }
};

// Throws io::invalid_format(path, "Unsupported TIFF variant") or one that names the size, io::eof_error when the blocks
// do not lie in the file.
tiff_picture read_tiff_picture(const tiff_file& file, std::int64_t position);

}  // namespace img
