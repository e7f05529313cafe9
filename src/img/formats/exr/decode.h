// The pixels of an OpenEXR file as planes of halves.
#pragma once

#include <cstdint>
#include <vector>

#include "img/formats/exr/file.h"
#include "img/formats/exr/layers.h"
#include "img/image.h"

namespace img {

// Fills planes of `image`, which has the size of the display window, from channels of the full resolution. What the
// data window does not cover becomes 0. Lines that a file of scan lines has lost, as a file that was cut short has,
// become 0 too, and the image notes how many. Uses all threads. Throws the io family.
void decode_channels(const exr_file& file, const std::vector<exr_channel_use>& uses, image& image);

// The same for blue, green and red of a file with luminance and chroma channels.
void decode_chroma(const exr_file& file, image& image);

// Where the two windows of a file meet, in the file's coordinates; the ends are not part of it.
struct exr_overlap {
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;
  bool empty() const { return left >= right || top >= bottom; }
};
exr_overlap overlap_of(const exr_file& file);

// Throws io::eof_error when the header tells of more chunks, or of larger ones, than the file can hold, and
// io::invalid_format for sizes and samplings below 1. Comes before all that takes memory in proportion to them.
void check_chunk_sizes(const exr_file& file);

// The ways that decode_channels() chooses from; each writes `area`, a part of where the windows overlap. The first two
// return false, with nothing done, for files that they do not read.
bool read_uncompressed(const exr_file& file, const std::vector<exr_channel_use>& uses, image& image,
                       const exr_overlap& area);
bool read_chunks(const exr_file& file, const std::vector<exr_channel_use>& uses, image& image, const exr_overlap& area);
void read_by_library(const exr_file& file, const std::vector<exr_channel_use>& uses, image& image,
                     const exr_overlap& area);

}  // namespace img
