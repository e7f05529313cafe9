#include "img/lookup/cube_reader.h"

#include <algorithm>

#include "img/color_rows.h"
#include "img/picture_form.h"
#include "img/transfer.h"
#include "img/transfer_tables.h"
#include "lib/parallel.h"

namespace img {
namespace {

struct indexes {
  std::uint16_t b[cube_reader::block];
  std::uint16_t g[cube_reader::block];
  std::uint16_t r[cube_reader::block];
};

void look_up_halves(std::uint16_t* out, const std::uint16_t* in, std::size_t count) {
  const std::uint16_t* table = half_to_index();
  for (std::size_t i = 0; i < count; ++i) out[i] = table[in[i]];
}

void look_up_words(indexes& out, const std::uint32_t* words, bool swapped, std::size_t count) {
  const std::uint16_t* table = log_to_linear_index();
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint32_t word = swapped ? __builtin_bswap32(words[i]) : words[i];
    out.b[i] = table[word >> 2 & 1023];
    out.g[i] = table[word >> 12 & 1023];
    out.r[i] = table[word >> 22];
  }
}

}  // namespace

cube_reader::cube_reader(const image& image, const lookup_table& table)
    : image_(image), table_(table), planes_{0, 0, 0} {
  if (has_three_colors(image)) planes_ = {0, 1, 2};
}

void cube_reader::read(std::uint16_t* nodes, std::size_t first, std::size_t count) const {
  indexes index;
  const std::array<std::uint16_t*, 3> out{index.b, index.g, index.r};
  if (image_.is_packed()) {
    look_up_words(index, image_.data[0].as<std::uint32_t>() + first, image_.format[0] == 'U', count);
  } else {
    for (int c = 0; c < 3; ++c) {
      const plane& plane = image_.data[planes_[c]];
      if (image_.depth[planes_[c]] == 16) {
        look_up_halves(out[c], plane.as<std::uint16_t>() + first, count);
      } else {
        active_color_kernels().widen_bytes(out[c], plane.data() + first, count);
      }
    }
  }
  active_color_kernels().cube(nodes, index.b, index.g, index.r, table_.cube().data(), table_.points(), count);
}

void cube_of_bytes(std::uint16_t* nodes, const std::uint8_t* b, const std::uint8_t* g, const std::uint8_t* r,
                   std::size_t count, const lookup_table& table) {
  const color_kernels& rows = active_color_kernels();
  indexes index;
  rows.widen_bytes(index.b, b, count);
  rows.widen_bytes(index.g, g, count);
  rows.widen_bytes(index.r, r, count);
  rows.cube(nodes, index.b, index.g, index.r, table.cube().data(), table.points(), count);
}

void apply_cube(image& out, const image& source, const lookup_table& table) {
  if (source.empty()) {
    out.clear();
    return;
  }
  const bool packed = source.is_packed();
  image result;
  int shift = 0;
  if (packed) {
    result.reset("W", 32, source.width, source.height);
    result.copy_info(source);
  } else {
    shift = begin_conversion(result, source, true, 16);
  }
  const cube_reader reader(source, table);
  const std::uint16_t* to_log = fixed_to_log();
  const std::uint16_t* to_half = fixed_to_half();
  const std::size_t width = static_cast<std::size_t>(source.width);
  lib::parallel_rows(source.height, static_cast<long long>(width) * source.height, [&](int first_row, int last_row) {
    std::uint16_t nodes[4 * cube_reader::block];
    const std::size_t last = last_row * width;
    for (std::size_t first = first_row * width; first < last; first += cube_reader::block) {
      const std::size_t count = std::min(cube_reader::block, last - first);
      reader.read(nodes, first, count);
      if (packed) {
        std::uint32_t* words = result.data[0].as<std::uint32_t>() + first;
        for (std::size_t i = 0; i < count; ++i) {
          const std::uint32_t b = to_log[nodes[4 * i]], g = to_log[nodes[4 * i + 1]], r = to_log[nodes[4 * i + 2]];
          words[i] = (r << 20 | g << 10 | b) << 2;
        }
      } else {
        for (int c = 0; c < 3; ++c) {
          std::uint16_t* halves = result.data[c].as<std::uint16_t>() + first;
          for (std::size_t i = 0; i < count; ++i) halves[i] = to_half[nodes[4 * i + c]];
        }
      }
    }
  });
  for_further_planes(source, shift, [&](int from, int to) {
    result.format[to] = source.format[from];
    result.depth[to] = source.depth[from];
    result.data[to] = source.data[from];
    result.hint[to] = source.hint[from];
  });
  out.swap(result);
}

}  // namespace img
