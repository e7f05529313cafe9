#include "img/formats/tiff/picture.h"

#include <algorithm>

#include "img/formats/shared/refuse.h"
#include "img/image.h"
#include "io/exceptions.h"

namespace img {
namespace {

[[noreturn]] void refuse(const tiff_file& file, const std::string& found, const std::string& read) {
  img::refuse(file.path(), "Unsupported TIFF variant", found, read);
}

// Reads single numbers and lists of one directory.
struct tags {
  const tiff_file& file;
  std::vector<tiff_entry> entries;

  std::vector<std::uint64_t> list(int tag, std::uint64_t most) const {
    const tiff_entry* entry = find_entry(entries, tag);
    return entry ? file.numbers(*entry, most) : std::vector<std::uint64_t>();
  }
  int number(int tag, int otherwise) const {
    const std::vector<std::uint64_t> values = list(tag, 1);
    if (values.empty()) return otherwise;
    return static_cast<int>(std::min<std::uint64_t>(values[0], 0x7FFFFFFF));
  }
};

int colors_of(int photometric) {
  switch (photometric) {
    case tiff_white_is_zero:
    case tiff_black_is_zero:
    case tiff_palette:
      return 1;
    case tiff_cmyk:
      return 4;
    default:
      return 3;
  }
}

// How many pixels one byte of compressed data can stand for at most. Fax coding gives a row in one bit, and the codings
// that only the library knows have no bound that is worth a table.
int expansion_of(const tiff_picture& picture) {
  switch (picture.compression) {
    case tiff_none:
      return 1;
    case tiff_packbits:
      return 64;
    case tiff_deflate:
    case tiff_old_deflate:
      return 1032;
    case tiff_lzw:
      return 2600;  // each code of 9 to 12 bits can give one byte more than the one before it, up to 3838
    case tiff_jpeg:
      return 1 << 12;
    default:
      return 1 << 16;
  }
}

void check_blocks(const tiff_file& file, const tiff_picture& picture) {
  const std::int64_t blocks =
      static_cast<std::int64_t>(picture.across()) * picture.down() * (picture.planar ? picture.samples : 1);
  if (static_cast<std::int64_t>(std::min(picture.offsets.size(), picture.sizes.size())) < blocks)
    throw io::eof_error(file.path());
  std::int64_t there = 0, largest = 0;
  for (std::size_t i = 0; i < static_cast<std::size_t>(blocks); ++i) {
    const auto size = static_cast<std::int64_t>(std::min<std::uint64_t>(picture.sizes[i], file.source().size()));
    there += size;
    largest = std::max(largest, size);
  }
  // What lies in the picture of a block; a tile may be far wider than that.
  const std::int64_t of_block =
      static_cast<std::int64_t>(picture.row_bytes()) * std::min(picture.block_height, picture.height);
  if (picture.tiled && of_block / expansion_of(picture) > largest) throw io::eof_error(file.path());
  there = std::min(there, file.source().size());
  const std::int64_t bits = static_cast<std::int64_t>(picture.bits) * picture.samples;
  const std::int64_t needed = (static_cast<std::int64_t>(picture.width) * bits + 7) / 8 * picture.height;
  if (needed / expansion_of(picture) > there) {
    if (picture.compression == tiff_none) throw io::eof_error(file.path());
    check_size(file.path(), picture.width, picture.height, static_cast<int>((bits + 7) / 8), there,
               expansion_of(picture));
  }
}

}  // namespace

tiff_picture read_tiff_picture(const tiff_file& file, std::int64_t position) {
  const tags tags{file, file.read_directory(position)};
  tiff_picture picture;
  picture.position = position;
  picture.width = tags.number(256, 0);
  picture.height = tags.number(257, 0);
  check_dimensions(file.path(), picture.width, picture.height);
  picture.samples = tags.number(277, 1);
  picture.compression = tags.number(259, tiff_none);
  picture.photometric = tags.number(262, picture.samples >= 3 ? tiff_rgb : tiff_black_is_zero);
  picture.predictor = tags.number(317, 1);
  picture.planar = tags.number(284, 1) == 2;
  picture.reversed_bits = tags.number(266, 1) == 2;
  picture.orientation = tags.number(274, 1);
  picture.colors = colors_of(picture.photometric);
  if (picture.samples < picture.colors || picture.samples > 64) {
    refuse(file, std::to_string(picture.samples) + " samples a pixel",
           std::to_string(picture.colors) + " to 64 are read with photometric interpretation " +
               std::to_string(picture.photometric));
  }

  const std::vector<std::uint64_t> bits = tags.list(258, 64);
  if (!bits.empty()) picture.bits = static_cast<int>(std::min<std::uint64_t>(bits[0], 255));
  for (const std::uint64_t other : bits) {
    if (other != bits[0]) {
      refuse(file, "samples of " + std::to_string(bits[0]) + " and " + std::to_string(other) + " bits",
             "samples of equal depth are read");
    }
  }
  const int format = tags.number(339, 1);
  picture.floats = format == 3;
  if (picture.floats ? picture.bits != 16 && picture.bits != 32 && picture.bits != 64
                     : picture.bits < 1 || picture.bits > 32 || format == 2 || format > 4) {
    refuse(file, std::to_string(picture.bits) + " bits of sample format " + std::to_string(format),
           "1 to 32 bits of format 1 and 16, 32 and 64 of format 3 are read");
  }

  // More samples than colours are alpha and others; what they say of themselves does not change where they go.
  picture.has_alpha = picture.samples > picture.colors && picture.photometric != tiff_palette;

  picture.tiled = find_entry(tags.entries, 322) != nullptr;
  picture.block_width = picture.tiled ? tags.number(322, 0) : picture.width;
  picture.block_height =
      picture.tiled ? tags.number(323, 0) : std::min(tags.number(278, picture.height), picture.height);
  if (picture.block_width < 1 || picture.block_height < 1 || picture.block_width > max_dimension + 15 ||
      picture.block_height > max_dimension + 15) {
    refuse(file, "blocks of " + std::to_string(picture.block_width) + " x " + std::to_string(picture.block_height),
           "1 to " + std::to_string(max_dimension) + " are read");
  }
  const std::uint64_t most_blocks = static_cast<std::uint64_t>(file.source().size());
  picture.offsets = tags.list(picture.tiled ? 324 : 273, most_blocks);
  picture.sizes = tags.list(picture.tiled ? 325 : 279, most_blocks);
  if (picture.offsets.empty()) refuse(file, "no offsets of strips or tiles", "tag 273 or 324 gives them");
  // Old writers leave out the size of a single strip.
  if (picture.sizes.empty() && picture.offsets.size() == 1) {
    const auto end = static_cast<std::uint64_t>(file.source().size());
    picture.sizes = {picture.offsets[0] < end ? end - picture.offsets[0] : 0};
  }
  if (picture.photometric == tiff_palette) {
    picture.palette = tags.list(320, 3 << 16);
    if (picture.bits > 16 || picture.floats || picture.palette.size() < std::size_t{3} << picture.bits) {
      refuse(file,
             std::to_string(picture.palette.size()) + " palette entries for " + std::to_string(picture.bits) + " bits",
             "three for each of the values of 1 to 16 bits are read");
    }
  }
  check_blocks(file, picture);
  if (picture.compression == tiff_lzw && picture.sizes[0] >= 2) {
    std::uint8_t start[2];
    file.source().read(start, 2, static_cast<std::int64_t>(picture.offsets[0]));
    picture.old_lzw = start[0] == 0 && (start[1] & 1) != 0;
  }
  return picture;
}

}  // namespace img
