// Headers of Wavefront RLA pictures and of their extension RPF.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "img/formats/shared/deep_samples.h"
#include "img/formats/shared/source_file.h"

namespace img {

// A kind of channels: colours, mattes or others.
struct rla_channels {
  int count = 0;
  int bits = 8;  // used ones of a sample: 1 to 16, or 32
  bool real = false;

  int bytes() const { return bits > 16 ? 4 : bits > 8 ? 2 : 1; }
};

// What a renderer keeps of each pixel beside its colour, in a file of RPF or one like it: the letter by which the name
// of the program lists it. Each byte of a sample is a record of its own, the highest first.
struct rla_pixel_channel {
  char letter;
  const char* name;
  int bytes;
  enum kind_type { whole, real, pair_of_reals, color, shared_exponent, packed } kind;
};

struct rla_header {
  int width = 0;  // of the whole picture
  int height = 0;
  int left = 0;  // of the part that is stored, from the picture's upper left corner
  int top = 0;
  int stored_width = 0;
  int stored_height = 0;
  int frame = -1;
  rla_channels colors, mattes, others;
  std::string others_name;                        // what the file calls the other channels, such as "depth"
  std::vector<rla_pixel_channel> pixel_channels;  // after all others
  bool little_endian = false;                     // whether real numbers are, against the format's rule
  std::map<std::string, std::string> metadata;

  int channel_count() const { return colors.count + mattes.count + others.count; }
  // Records of a row before the pixel channel of this number.
  int records_before(std::size_t pixel_channel) const;
  bool has_alpha() const { return mattes.count > 0; }
  // Bytes that a row can take at most, each channel in a record of its own.
  std::int64_t most_row_bytes() const;
};

constexpr int rla_header_size = 740;

// Throws io::eof_error and io::invalid_format with "Unsupported variant", "Invalid RLA/RPF file", "Unsupported color
// space" and "Invalid image width".
rla_header read_rla_header(const source_file& file);

}  // namespace img
