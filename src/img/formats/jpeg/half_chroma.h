// Pictures with chroma of half width and height, which most JPEG files have: the library decodes luma and chroma, and
// the colours are made here, straight into planes. The library's own colours come side by side and would have to be
// split.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include <jpeglib.h>

#include <vector>

#include "img/formats/jpeg/rows.h"
#include "img/fresh_rows.h"

namespace img {

// Whether a file whose header has been read is such a picture.
bool has_half_chroma(const jpeg_decompress_struct& jpeg);

// Gives the same bytes as the library's own colours.
class half_chroma_picture {
 public:
  // Into the blue, green and red planes of `image`, which has the size of the file.
  half_chroma_picture(const jpeg_decompress_struct& jpeg, image& image);

  // Takes the next lines from the library, decompression begun with raw_data_out. May leave by its error function: has
  // nothing to destroy.
  void take(j_decompress_ptr jpeg);
  // Makes the rows for which all is there. Those at the end of what was taken need the chroma that follows.
  void make_rows();
  // Rows made.
  int rows() const { return done_; }

 private:
  static constexpr int luma_lines = 2 * DCTSIZE;

  image& image_;
  fresh_rows fresh_;
  jpeg_half_chroma convert_ = active_jpeg_half_chroma();
  // Two turns of lines: the latest, and those before it.
  std::vector<std::uint8_t> samples_;
  std::vector<std::uint16_t> scratch_;
  std::size_t luma_stride_;
  std::size_t chroma_stride_;
  int taken_ = 0;  // luma lines
  int done_ = 0;

  std::uint8_t* luma_line(int y);
  std::uint8_t* chroma_line(int component, int y);
};

}  // namespace img
