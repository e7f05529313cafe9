#include "img/formats/bmp/header.h"

#include <algorithm>
#include <bit>

#include "img/formats/shared/byte_cursor.h"
#include "img/formats/shared/refuse.h"
#include "img/image.h"
#include "io/exceptions.h"

namespace img {
namespace {

constexpr int file_header_size = 14;
constexpr std::uint32_t core_size = 12, info_size = 40, with_masks_size = 52, with_alpha_size = 56, os2_size = 64,
                        most_size = 124;

void check_form(const bmp_header& header, std::int64_t width, std::int64_t height, int planes,
                const std::string& path) {
  if (width < 1 || width > max_dimension) {
    refuse(path, "Invalid width", width, "1 to " + std::to_string(max_dimension) + " are read");
  }
  if (height < 1 || height > max_dimension) {
    refuse(path, "Invalid height", height, "1 to " + std::to_string(max_dimension) + " are read");
  }
  if (planes != 1) refuse(path, "Invalid number of planes", planes, "1 is read");
  constexpr int depths[] = {1, 2, 4, 8, 16, 24, 32};
  if (std::find(std::begin(depths), std::end(depths), header.bits) == std::end(depths)) {
    refuse(path, "Invalid/unsupported bit depth", header.bits, "1, 2, 4, 8, 16, 24 and 32 are read");
  }
  const bool fields = header.compression == bmp_bit_fields || header.compression == bmp_alpha_bit_fields;
  const bool fits = header.compression == bmp_plain || (header.compression == bmp_rle8 && header.bits == 8) ||
                    (header.compression == bmp_rle4 && header.bits == 4) ||
                    (fields && (header.bits == 16 || header.bits == 32));
  if (!fits) {
    refuse(path, "Unsupported compression type",
           std::to_string(header.compression) + " at " + std::to_string(header.bits) + " bits",
           "0, 1 at 8 bits, 2 at 4, 3 and 6 at 16 and 32 are read");
  }
}

// Blue lowest. The top bits of pixels without fields of their own mean nothing.
void take_default_masks(bmp_header& header) {
  if (header.bits == 16) header.masks = {0x001F, 0x03E0, 0x7C00, 0};
  if (header.bits == 32) header.masks = {0x0000FF, 0x00FF00, 0xFF0000, 0};
}

// The fourth byte is unused by the format's own rule, but today's programs keep alpha there. Those that have none leave
// it 0 in every pixel.
bool has_fourth_bytes(const source_file& file, const bmp_header& header) {
  constexpr std::int64_t most = 256 << 10;
  const std::int64_t end = header.data + std::int64_t{4} * header.width * header.height;
  std::vector<std::uint8_t> block;
  for (std::int64_t at = header.data; at < end; at += most) {
    block.resize(static_cast<std::size_t>(std::min(most, end - at)));
    file.read(block.data(), block.size(), at);
    for (std::size_t i = 3; i < block.size(); i += 4) {
      if (block[i] != 0) return true;
    }
  }
  return false;
}

bool is_contiguous(std::uint32_t mask) {
  return mask == 0 || std::has_single_bit((std::uint64_t{mask} >> std::countr_zero(mask)) + 1);
}

}  // namespace

bool bmp_header::is_deep() const {
  return !has_palette() &&
         std::any_of(masks.begin(), masks.end(), [](std::uint32_t m) { return std::popcount(m) > 8; });
}

bmp_header read_bmp_header(const source_file& file) {
  const std::string& path = file.path();
  // Enough for the largest header, fields of bits and a palette of 256.
  const file_bytes bytes(file, 0, file_header_size + most_size + 16 + 1024);
  byte_cursor at = bytes.cursor();
  bmp_header header;
  // The clipboard's form has no file header.
  const bool whole = at.peek(2) == "BM";
  if (whole) {
    at.take(10);
    header.data = at.le_u32();
  }
  const std::uint32_t size = at.le_u32();
  const bool os2 = size == 16 || size == os2_size;
  if (size != core_size && !os2 && (size < info_size || size > most_size)) throw io::invalid_signature(path);
  byte_cursor fields = at.part(size - 4);
  std::int64_t width, height;
  std::uint32_t colours = 0;
  int planes;
  if (size == core_size) {
    width = fields.le_u16();
    height = fields.le_u16();
    planes = fields.le_u16();
    header.bits = fields.le_u16();
  } else {
    width = static_cast<std::int32_t>(fields.le_u32());
    height = static_cast<std::int32_t>(fields.le_u32());
    planes = fields.le_u16();
    header.bits = fields.le_u16();
    if (size > 16) {
      header.compression = static_cast<int>(std::min<std::uint32_t>(fields.le_u32(), 255));
      fields.take(12);
      colours = fields.le_u32();
      fields.take(4);
    }
    // Numbers 3 and 4 of OS/2 are other codings.
    if (os2 && header.compression > bmp_rle4) header.compression = 255;
    header.top_down = height < 0;
    if (height < 0) height = -height;
  }
  check_form(header, width, height, planes, path);
  header.width = static_cast<int>(width);
  header.height = static_cast<int>(height);

  take_default_masks(header);
  if (header.compression == bmp_bit_fields || header.compression == bmp_alpha_bit_fields) {
    const bool inside = size >= with_masks_size;
    byte_cursor& from = inside ? fields : at;
    for (std::size_t i : {2, 1, 0}) header.masks[i] = from.le_u32();
    const bool alpha = inside ? size >= with_alpha_size : header.compression == bmp_alpha_bit_fields;
    header.masks[3] = alpha ? from.le_u32() : 0;
    if (!std::all_of(header.masks.begin(), header.masks.end(), is_contiguous)) {
      throw io::invalid_format(path, "Unsupported compression type: the bits of a colour are not next to each other");
    }
  }

  if (header.has_palette()) {
    const std::size_t entry = size == core_size ? 3 : 4;
    std::size_t count = std::size_t{1} << header.bits;
    if (colours > 0) count = std::min<std::size_t>(count, colours);
    // Some writers leave out colours that no pixel has.
    const auto position = static_cast<std::int64_t>(bytes.size() - at.left());
    if (whole && header.data > position) {
      count = std::min(count, static_cast<std::size_t>(header.data - position) / entry);
    }
    for (std::size_t i = 0; i < count; ++i) {
      const std::uint8_t* colour = at.take(entry);
      header.palette.push_back({colour[0], colour[1], colour[2]});
    }
    header.palette.resize(std::size_t{1} << header.bits);
  } else if (!whole && colours > 0) {
    at.take(std::min<std::size_t>(std::size_t{4} * colours, at.left()));
  }
  if (!whole) header.data = static_cast<std::int64_t>(bytes.size() - at.left());
  if (header.is_packed()) {
    // Two bytes give at most 255 pixels, and rows may be left out altogether.
    check_size(path, width, height, 1, std::max<std::int64_t>(file.size() - header.data, 1), 65536);
    file.check_range(header.data, 1);
  } else {
    file.check_range(header.data, header.row_bytes() * (header.height - 1) + (width * header.bits + 7) / 8);
    if (header.bits == 32 && header.compression == bmp_plain && has_fourth_bytes(file, header)) {
      header.masks[3] = 0xFF000000;
    }
  }
  return header;
}

}  // namespace img
