#include "img/transfer.h"

#include <algorithm>
#include <cstring>

#include "img/color_rows.h"
#include "img/lookup/cube_reader.h"
#include "img/picture_form.h"
#include "img/transfer_tables.h"
#include "lib/parallel.h"

namespace img {
namespace {

using byte_row = std::array<std::uint8_t*, 3>;

// One row through the integer matrix, in place. The samples of the last one to three columns are summed exactly and
// rounded, those before them are not.
void matrix_row(const byte_row& row, std::size_t width, const transfer_tables& tables) {
  const std::array<std::int32_t, 9>& m = tables.integer_matrix;
  const std::size_t bulk = width & ~std::size_t{3};
  const color_kernels& rows = tables.matrix_is_small ? active_color_kernels() : plain_color_kernels();
  rows.matrix(row[0], row[1], row[2], m.data(), bulk);
  for (std::size_t i = bulk; i < width; ++i) {
    const int blue = row[0][i], green = row[1][i], red = row[2][i];
    auto rounded = [&](int at) {
      const int sum = red * m[at] + green * m[at + 1] + blue * m[at + 2];
      return static_cast<std::uint8_t>((std::clamp(sum, 0, 65280) + 128) >> 8);
    };
    row[2][i] = rounded(0);
    row[1][i] = rounded(3);
    row[0][i] = rounded(6);
  }
}

// Calls samples(first, count) for stretches that cover the picture, on all threads, and row(y) after each row when
// `by_row` is set.
template <class Samples, class Row>
void for_picture(const image& image, bool by_row, Samples&& samples, Row&& row) {
  const std::size_t width = static_cast<std::size_t>(image.width);
  lib::parallel_rows(image.height, static_cast<long long>(width) * image.height, [&](int first, int last) {
    if (!by_row) {
      samples(first * width, (last - first) * width);
      return;
    }
    for (int y = first; y < last; ++y) {
      samples(y * width, width);
      row(y);
    }
  });
}

}  // namespace

transfer::transfer() : transfer(correction{}) {}
transfer::transfer(const correction& settings)
    : settings_(settings), tables_(std::make_unique<transfer_tables>(settings)) {}
transfer::transfer(const transfer& other) : transfer(other.settings_) {}
transfer::transfer(transfer&&) noexcept = default;
transfer& transfer::operator=(const transfer& other) {
  prepare(other.settings_);
  return *this;
}
transfer& transfer::operator=(transfer&&) noexcept = default;
transfer::~transfer() = default;

void transfer::prepare(const correction& settings) {
  if (tables_ && settings_ == settings) return;
  tables_ = std::make_unique<transfer_tables>(settings);
  settings_ = settings;
}

bool transfer::is_identity(int channel, int default_space) const {
  return tables_->math.is_identity(channel, effective_space(settings_, default_space));
}

bool transfer::has_matrix() const {
  return tables_->has_matrix;
}

void transfer::apply(image& image) {
  if (image.empty()) return;
  const bool cube = settings_.lookup_table.has_cube();
  if (image.depth[0] != 8 || (cube && !has_three_colors(image))) {
    img::image converted;
    convert(converted, image);
    image.swap(converted);
    return;
  }
  if (!cube && !has_matrix() && is_identity(0, 2) && is_identity(1, 2) && is_identity(2, 2)) return;
  for (auto& hints : {&image.hint[0], &image.hint[1], &image.hint[2]}) hints->clear();
  convert_bytes(image, image);
}

// 8-bit colour planes, from one picture to another of the same form, or in place.
void transfer::convert_bytes(image& out, const image& in) {
  prepare_rows();
  const bool three = has_three_colors(in);
  const std::size_t width = static_cast<std::size_t>(in.width);
  const bool by_row = three && (has_matrix() || settings_.lookup_table.has_cube());
  auto samples = [&](std::size_t first, std::size_t count) {
    for (int c = 0; c < 3; ++c) {
      if (!is_color_plane(in, c)) continue;
      const std::uint8_t* from = in.data[c].data() + first;
      std::uint8_t* to = out.data[c].data() + first;
      if (!by_row && !is_identity(c, 2)) {
        active_color_kernels().map_bytes(to, from, tables_->built_bytes(sample_form::byte).of[c], count);
      } else if (to != from) {
        std::memcpy(to, from, count);
      }
    }
  };
  for_picture(in, by_row, samples, [&](int y) {
    const std::size_t first = y * width;
    apply_row(out.data[0].data() + first, out.data[1].data() + first, out.data[2].data() + first, in.width);
  });
}

void transfer::convert(image& out, const image& in, bool cube_applied) {
  if (in.empty()) {
    out.clear();
    out.copy_info(in);
    return;
  }
  const bool packed = in.is_packed();
  const bool cube = settings_.lookup_table.has_cube() && !cube_applied && in.format[0] != 'W';
  const int shift = begin_conversion(out, in, packed || cube, 8);
  const bool matrix = has_matrix() && has_three_colors(out);
  const std::size_t width = static_cast<std::size_t>(in.width);
  const byte_row to{out.data[0].data(), out.data[1].data(), out.data[2].data()};
  auto finish_row = [&](int y) {
    const std::size_t first = y * width;
    matrix_row({to[0] + first, to[1] + first, to[2] + first}, width, *tables_);
  };

  if (cube) {
    const channel_bytes tables = tables_->bytes(settings_, sample_form::fixed);
    const cube_reader reader(in, settings_.lookup_table);
    auto samples = [&](std::size_t first, std::size_t count) {
      std::uint16_t nodes[4 * cube_reader::block];
      for (const std::size_t last = first + count; first < last; first += cube_reader::block) {
        const std::size_t part = std::min(cube_reader::block, last - first);
        reader.read(nodes, first, part);
        active_color_kernels().map_nodes(to[0] + first, to[1] + first, to[2] + first, nodes, tables, part);
      }
    };
    for_picture(in, matrix, samples, finish_row);
  } else if (packed) {
    const channel_bytes tables = tables_->bytes(settings_, sample_form::log, in.format[0] == 'V');
    const bool swapped = in.format[0] == 'U';
    auto samples = [&](std::size_t first, std::size_t count) {
      active_color_kernels().map_words(to[0] + first, to[1] + first, to[2] + first,
                                       in.data[0].as<std::uint32_t>() + first, tables, swapped, count);
    };
    for_picture(in, matrix, samples, finish_row);
  } else if (in.depth[0] == 16) {
    const channel_bytes tables = tables_->bytes(settings_, sample_form::half);
    auto samples = [&](std::size_t first, std::size_t count) {
      for (int c = 0; c < 3; ++c) {
        if (!is_color_plane(in, c)) continue;
        active_color_kernels().map_halves(to[c] + first, in.data[c].as<std::uint16_t>() + first, tables.of[c], count);
      }
    };
    for_picture(in, matrix, samples, finish_row);
  } else {
    convert_bytes(out, in);
  }

  for_further_planes(in, shift, [&](int from, int to_plane) {
    out.hint[to_plane] = in.hint[from];
    if (in.depth[from] != 16) {
      out.format[to_plane] = in.format[from];
      out.depth[to_plane] = in.depth[from];
      out.data[to_plane] = in.data[from];
      return;
    }
    out.set_plane(to_plane, in.format[from], 8);
    auto samples = [&](std::size_t first, std::size_t count) {
      active_color_kernels().map_halves(out.data[to_plane].data() + first, in.data[from].as<std::uint16_t>() + first,
                                        half_to_alpha(), count);
    };
    for_picture(in, false, samples, [](int) {});
  });
}

const std::uint8_t* transfer::byte_table(int channel) {
  if (settings_.lookup_table.has_cube() || is_identity(channel, 2)) return nullptr;
  return tables_->bytes(settings_, sample_form::byte).of[channel];
}

void transfer::prepare_rows() {
  if (settings_.lookup_table.has_cube()) {
    tables_->bytes(settings_, sample_form::fixed);
  } else if (!is_identity(0, 2) || !is_identity(1, 2) || !is_identity(2, 2)) {
    tables_->bytes(settings_, sample_form::byte);
  }
}

void transfer::apply_row(std::uint8_t* b, std::uint8_t* g, std::uint8_t* r, int width) const {
  const byte_row row{b, g, r};
  const std::size_t count = static_cast<std::size_t>(std::max(width, 0));
  if (settings_.lookup_table.has_cube()) {
    const channel_bytes tables = tables_->built_bytes(sample_form::fixed);
    std::uint16_t nodes[4 * cube_reader::block];
    for (std::size_t first = 0; first < count; first += cube_reader::block) {
      const std::size_t part = std::min(cube_reader::block, count - first);
      const byte_row at{b + first, g + first, r + first};
      cube_of_bytes(nodes, at[0], at[1], at[2], part, settings_.lookup_table);
      active_color_kernels().map_nodes(at[0], at[1], at[2], nodes, tables, part);
    }
  } else {
    for (int c = 0; c < 3; ++c) {
      if (is_identity(c, 2)) continue;
      active_color_kernels().map_bytes(row[c], row[c], tables_->built_bytes(sample_form::byte).of[c], count);
    }
  }
  if (has_matrix()) matrix_row(row, count, *tables_);
}

lookup_table sample_table(const correction& settings, bool cineon, bool srgb) {
  lookup_table out = settings.lookup_table;
  if (!out.empty()) {
    if (settings.color_space != 0) out.output_srgb1 = out.output_srgb3 = settings.color_space == 2;
    return out;
  }
  const bool decode = settings.color_space != 0 ? settings.color_space == 2 : srgb;
  std::vector<double> values(lookup_table::curve_entries);
  for (int i = 0; i < 1024; ++i) {
    const double v = cineon ? log_decode(i) : i / 1023.0;
    values[i] = values[1024 + i] = values[2048 + i] = decode ? srgb_decode(v) : v;
  }
  out.set_1d(values, false);
  return out;
}

}  // namespace img
