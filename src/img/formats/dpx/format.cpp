// DPX and Cineon film scans. Log data of 10 bits stays packed as the file holds it.
#include "img/formats/dpx/format.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <vector>

#include "img/formats/dpx/header.h"
#include "img/formats/dpx/rows.h"
#include "img/formats/shared/parallel_tasks.h"
#include "img/formats/shared/source_file.h"
#include "img/fresh_rows.h"
#include "img/transfer.h"
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

// The standard ends rows at a multiple of four bytes, which many writers do without a word in the header, and many
// others do not. Only rows of 8-bit and 16-bit samples show the difference; the size of the file tells them apart.
std::uint32_t unsaid_padding(const source_file& file, const film_header& header) {
  const std::int64_t used = film_row_bytes(header);
  const std::int64_t whole = (used + 3) / 4 * 4;
  const bool padded = file.size() - header.data_offset == whole * header.height;
  return padded ? static_cast<std::uint32_t>(whole - used) : 0;
}

// Large reads around the cache block for long on a network.
bool may_read_direct(const std::string& path, std::int64_t end) {
  return end <= 0x1FF8800 || !(path.starts_with("//") || path.starts_with("\\\\"));
}

// The planes of one row of a file that is not kept as it stands.
void spread_row(image& image, int y, const std::uint8_t* row, const film_header& header,
                std::vector<std::uint16_t>& samples) {
  const int channels = header.channels;
  // Planes blue, green, red, alpha, by the place of their sample.
  std::array<int, 4> places{2, 1, 0, 3};
  if (channels == 1) places = {0};
  if (header.alpha_first) places = {1, 2, 3, 0};
  if (header.coding == film_coding::bytes) {
    for (int c = 0; c < channels; ++c) {
      std::uint8_t* out = image.row(c, y);
      const std::uint8_t* in = row + places[static_cast<std::size_t>(c)];
      for (int x = 0; x < header.width; ++x) out[x] = in[x * channels];
    }
  } else if (header.coding == film_coding::floats) {
    for (int c = 0; c < channels; ++c) {
      auto* out = image.row<std::uint16_t>(c, y);
      for (int x = 0; x < header.width; ++x) {
        std::uint32_t bits;
        std::memcpy(&bits, row + 4 * (x * channels + places[static_cast<std::size_t>(c)]), 4);
        out[x] = float_to_half(std::bit_cast<float>(header.big_endian ? __builtin_bswap32(bits) : bits));
      }
    }
  } else {
    samples.resize(static_cast<std::size_t>(header.width) * static_cast<std::size_t>(channels));
    unpack_film_row(samples.data(), row, header);
    pack_film_words(image.row<std::uint32_t>(0, y), samples.data(), header);
    if (channels == 4) take_film_alpha(image.row(1, y), samples.data(), header);
  }
}

// Rows that have to be put together, or that have padding after them: blocks of them at once on all threads.
void read_rows(const source_file& file, const film_header& header, image& image) {
  const std::int64_t used = film_row_bytes(header);
  const std::int64_t stride = used + header.line_padding;
  const int lines = static_cast<int>(std::clamp<std::int64_t>((256 << 10) / used, 1, 4096));
  const int blocks = (header.height + lines - 1) / lines;
  struct worker {
    std::vector<std::uint8_t> rows;
    std::vector<std::uint16_t> samples;
  };
  const fresh_rows fresh(image);
  parallel_tasks<worker>(blocks, lib::thread_count(), [&](int block, worker& own) {
    const int first = block * lines;
    const int last = std::min(first + lines, header.height);
    fresh.prepare(first, last);
    own.rows.resize(static_cast<std::size_t>(used * lines));
    if (header.line_padding == 0) {
      file.read(own.rows.data(), static_cast<std::size_t>(used * (last - first)), header.data_offset + first * stride);
    }
    for (int y = first; y < last; ++y) {
      std::uint8_t* row = own.rows.data() + (y - first) * used;
      if (header.line_padding != 0) file.read(row, static_cast<std::size_t>(used), header.data_offset + y * stride);
      if (header.is_plain_log()) {
        std::memcpy(image.row<std::uint32_t>(0, y), row, static_cast<std::size_t>(used));
      } else {
        spread_row(image, y, row, header, own.samples);
      }
    }
  });
}

void reset_image(image& image, const film_header& header) {
  constexpr const char* letters[] = {"", "L", "", "BGR", "BGRA"};
  if (header.coding == film_coding::bytes || header.coding == film_coding::floats) {
    const int bits = header.coding == film_coding::bytes ? 8 : 16;
    image.reset(letters[header.channels], bits, header.width, header.height);
    return;
  }
  image.reset(header.is_plain_log() && header.big_endian ? "U" : "u", 32, header.width, header.height);
  if (header.channels == 4) image.set_plane(1, 'A', 8);
}

void turn_upside_down(image& image) {
  for (int plane = 0; plane < image.plane_count(); ++plane) {
    const std::size_t row = plane_bytes(image.depth[static_cast<std::size_t>(plane)], image.width, 1);
    std::uint8_t* upper = image.data[static_cast<std::size_t>(plane)].data();
    std::uint8_t* lower = upper + row * static_cast<std::size_t>(image.height - 1);
    for (; upper < lower; upper += row, lower -= row) std::swap_ranges(upper, upper + row, lower);
  }
}

}  // namespace

void dpx_fmt::read(image& image, const std::string& path, const layer&) const {
  const source_file file(path);
  image_info info;
  film_header header = read_film_header(file, info);
  if (header.line_padding == 0) header.line_padding = unsaid_padding(file, header);
  const std::int64_t stride = film_row_bytes(header) + header.line_padding;
  file.check_range(header.data_offset, stride * (header.height - 1) + film_row_bytes(header));

  reset_image(image, header);
  image.copy_info(info);
  image.set_path(path);
  image.set_centre_anchor();

  const std::size_t size = image.data[0].size();
  if (!header.is_plain_log() || header.line_padding != 0) {
    read_rows(file, header, image);
  } else if (!may_read_direct(path, header.data_offset + static_cast<std::int64_t>(size)) ||
             !file.raw().read_direct(image.data[0].data(), size, header.data_offset, has_new_memory(image.data[0]))) {
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
  result.has_alpha = header.channels == 4;
  result.pixel_aspect = info.pixel_aspect;
  list_layers(path, result.layers);
  return result;
}

const format& dpx_format() {
  static const dpx_fmt instance;
  return instance;
}

}  // namespace img
