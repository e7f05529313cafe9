// DPX and Cineon film scans. Log data of 10 bits stays packed as the file holds it.
#include "img/formats/dpx/format.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <vector>

#include "img/formats/dpx/header.h"
#include "img/formats/shared/film_codes.h"
#include "img/formats/shared/parallel_tasks.h"
#include "img/formats/shared/source_file.h"
#include "io/exceptions.h"

namespace img {
namespace {

static_assert(std::endian::native == std::endian::little);

film_header read_film_header(const source_file& file, image_info& info) {
  std::array<std::uint8_t, film_header_bytes> bytes;
  const auto there = std::min<std::int64_t>(file.size(), film_header_bytes);
  file.read(bytes.data(), static_cast<std::size_t>(there), 0);
  const film_header header =
      parse_film_header(std::span(bytes).first(static_cast<std::size_t>(there)), file.path(), info);
  check_dimensions(file.path(), header.width, header.height);
  return header;
}

// Bytes of a row without its padding.
std::int64_t row_bytes(const film_header& header) {
  const std::int64_t width = header.width;
  if (header.bit_depth != 10) return width * (header.descriptor == 51 ? 8 : 6);
  return header.descriptor == 51 ? (width * 4 + 2) / 3 * 4 : width * 4;
}

// The standard ends rows at a multiple of four bytes, which many writers do without a word in the header, and many
// others do not. Only rows of 16-bit RGB show the difference; the size of the file tells them apart.
std::uint32_t unsaid_padding(const source_file& file, const film_header& header) {
  const std::int64_t used = row_bytes(header);
  const std::int64_t whole = (used + 3) / 4 * 4;
  const bool padded = file.size() - header.data_offset == whole * header.height;
  return padded ? static_cast<std::uint32_t>(whole - used) : 0;
}

// Large reads around the cache block for long on a network.
bool may_read_direct(const std::string& path, std::int64_t end) {
  return end <= 0x1FF8800 || !(path.starts_with("//") || path.starts_with("\\\\"));
}

std::uint32_t sample16(const std::uint8_t* bytes, bool big_endian) {
  return static_cast<std::uint32_t>(big_endian ? bytes[0] << 8 | bytes[1] : bytes[1] << 8 | bytes[0]);
}

void pack_row16(std::uint32_t* out, const std::uint8_t* row, int width, int step, bool big_endian) {
  for (int x = 0; x < width; ++x, row += step) {
    out[x] = film_word(sample16(row, big_endian) >> 6, sample16(row + 2, big_endian) >> 6,
                       sample16(row + 4, big_endian) >> 6);
  }
}

// Red, green, blue, alpha, red ... run on from word to word, three samples each.
void pack_row10_rgba(std::uint32_t* out, const std::uint8_t* row, int width, bool big_endian) {
  const auto sample = [&](int i) {
    std::uint32_t word;
    std::memcpy(&word, row + i / 3 * 4, 4);
    if (big_endian) word = __builtin_bswap32(word);
    return word >> (22 - i % 3 * 10) & 0x3FFu;
  };
  for (int x = 0; x < width; ++x) out[x] = film_word(sample(4 * x), sample(4 * x + 1), sample(4 * x + 2));
}

// Rows that have to be put together, or that have padding behind them: blocks of them at once on all threads.
void read_rows(const source_file& file, const film_header& header, image& image) {
  const std::int64_t used = row_bytes(header);
  const std::int64_t stride = used + header.line_padding;
  const bool packed = header.bit_depth == 10 && header.descriptor == 50;
  const int lines = static_cast<int>(std::clamp<std::int64_t>((256 << 10) / used, 1, 4096));
  const int blocks = (header.height + lines - 1) / lines;
  parallel_tasks<std::vector<std::uint8_t>>(blocks, lib::thread_count(), [&](int block, auto& buffer) {
    const int first = block * lines;
    const int last = std::min(first + lines, header.height);
    buffer.resize(static_cast<std::size_t>(used * lines));
    if (header.line_padding == 0) {
      file.read(buffer.data(), static_cast<std::size_t>(used * (last - first)), header.data_offset + first * stride);
    }
    for (int y = first; y < last; ++y) {
      std::uint8_t* row = buffer.data() + (y - first) * used;
      if (header.line_padding != 0) file.read(row, static_cast<std::size_t>(used), header.data_offset + y * stride);
      std::uint32_t* out = image.row<std::uint32_t>(0, y);
      if (packed) {
        std::memcpy(out, row, static_cast<std::size_t>(used));
      } else if (header.bit_depth == 10) {
        pack_row10_rgba(out, row, header.width, header.big_endian);
      } else {
        pack_row16(out, row, header.width, header.descriptor == 51 ? 8 : 6, header.big_endian);
      }
    }
  });
}

void turn_upside_down(image& image) {
  const std::size_t row = static_cast<std::size_t>(image.width);
  for (int top = 0, bottom = image.height - 1; top < bottom; ++top, --bottom) {
    std::uint32_t* upper = image.row<std::uint32_t>(0, top);
    std::swap_ranges(upper, upper + row, image.row<std::uint32_t>(0, bottom));
  }
}

}  // namespace

void dpx_fmt::read(image& image, const std::string& path, const layer&) const {
  const source_file file(path);
  image_info info;
  film_header header = read_film_header(file, info);
  if (header.line_padding == 0) header.line_padding = unsaid_padding(file, header);
  const bool packed = header.bit_depth == 10 && header.descriptor == 50;
  const std::int64_t stride = row_bytes(header) + header.line_padding;
  file.check_range(header.data_offset, stride * (header.height - 1) + row_bytes(header));

  image.reset(packed && header.big_endian ? "U" : "u", 32, header.width, header.height);
  image.copy_info(info);
  image.set_path(path);
  image.set_centre_anchor();

  const std::size_t size = image.data[0].size();
  if (!packed || header.line_padding != 0) {
    read_rows(file, header, image);
  } else if (!may_read_direct(path, header.data_offset + static_cast<std::int64_t>(size)) ||
             !file.raw().read_direct(image.data[0].data(), size, header.data_offset)) {
    file.read(image.data[0].data(), size, header.data_offset);
  }
  if (header.bottom_up) turn_upside_down(image);
}

picture_header dpx_fmt::read_header(const std::string& path, const layer&) const {
  const source_file file(path);
  image_info info;
  const film_header header = read_film_header(file, info);
  picture_header result;
  result.width = header.width;
  result.height = header.height;
  list_layers(path, result.layers);
  return result;
}

const format& dpx_format() {
  static const dpx_fmt instance;
  return instance;
}

}  // namespace img
