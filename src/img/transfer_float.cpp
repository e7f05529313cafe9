#include <algorithm>
#include <cmath>

#include "img/lookup/cube_reader.h"
#include "img/picture_form.h"
#include "img/transfer.h"
#include "img/transfer_tables.h"
#include "lib/parallel.h"

namespace img {
namespace {

// Single precision, as the planes are.
float encoded(float v) {
  return v > 0.0031308f ? 1.055f * std::pow(v, 0.4166667f) - 0.055f : v * 12.92f;
}

float decoded(float v) {
  return v > 0.04045f ? std::pow((v + 0.055f) / 1.055f, 2.4f) : v / 12.92f;
}

void apply_matrix(std::array<float*, 3> plane, const color_matrix& m, bool encode, std::size_t first,
                  std::size_t last) {
  for (std::size_t i = first; i < last; ++i) {
    float in[3] = {plane[2][i], plane[1][i], plane[0][i]};
    if (encode) {
      for (float& v : in) v = encoded(v);
    }
    for (int row = 0; row < 3; ++row) {
      const float v = static_cast<float>(m[row][0] * in[0] + m[row][1] * in[1] + m[row][2] * in[2]);
      plane[2 - row][i] = encode ? decoded(v) : v;
    }
  }
}

template <class T>
void look_up(float* out, const T* in, const float* table, std::size_t first, std::size_t last) {
  for (std::size_t i = first; i < last; ++i) out[i] = table[in[i]];
}

}  // namespace

void transfer::convert_float(float_image& out, const image& in, bool encode, bool cube_applied) {
  if (in.empty()) {
    out.reset(false, 0, 0);
    static_cast<image_info&>(out) = in;
    return;
  }
  const int alpha = in.plane_of('A');
  out.reset(alpha >= 0, in.width, in.height);
  static_cast<image_info&>(out) = in;
  const bool packed = in.is_packed();
  const bool cube = settings_.lookup_table.has_cube() && !cube_applied && in.format[0] != 'W';
  const bool three = packed || cube || has_three_colors(in);
  const bool matrix = has_matrix() && three;
  const std::array<float*, 3> to{out.data[0].data(), out.data[1].data(), out.data[2].data()};
  const sample_form form = cube                ? sample_form::fixed
                           : packed            ? sample_form::log
                           : in.depth[0] == 16 ? sample_form::half
                                               : sample_form::byte;
  const channel_floats tables = tables_->floats(settings_, form, form == sample_form::log && in.format[0] == 'V');

  auto colors = [&](std::size_t first, std::size_t last) {
    if (cube) {
      const cube_reader reader(in, settings_.lookup_table);
      std::uint16_t nodes[4 * cube_reader::block];
      for (std::size_t at = first; at < last; at += cube_reader::block) {
        const std::size_t count = std::min(cube_reader::block, last - at);
        reader.read(nodes, at, count);
        for (int c = 0; c < 3; ++c) {
          for (std::size_t i = 0; i < count; ++i) to[c][at + i] = tables.of[c][nodes[4 * i + c]];
        }
      }
    } else if (packed) {
      const bool swapped = in.format[0] == 'U';
      const std::uint32_t* words = in.data[0].as<std::uint32_t>();
      for (std::size_t i = first; i < last; ++i) {
        const std::uint32_t word = swapped ? __builtin_bswap32(words[i]) : words[i];
        to[0][i] = tables.of[0][word >> 2 & 1023];
        to[1][i] = tables.of[1][word >> 12 & 1023];
        to[2][i] = tables.of[2][word >> 22];
      }
    } else {
      for (int c = 0; c < 3; ++c) {
        // A gray picture has the colours of its one plane.
        const int from = three ? c : 0;
        if (in.depth[from] == 16) {
          look_up(to[c], in.data[from].as<std::uint16_t>(), tables.of[from], first, last);
        } else {
          look_up(to[c], in.data[from].as<std::uint8_t>(), tables.of[from], first, last);
        }
      }
    }
    if (matrix) apply_matrix(to, tables_->matrix, encode, first, last);
  };
  auto further = [&](std::size_t first, std::size_t last) {
    if (alpha < 0) return;
    float* to_alpha = out.data[3].data();
    for (std::size_t i = first; i < last; ++i) {
      to_alpha[i] = in.depth[alpha] == 16 ? static_cast<float>(half_to_double(in.data[alpha].as<std::uint16_t>()[i]))
                                          : static_cast<float>(in.data[alpha].as<std::uint8_t>()[i] / 255.0);
    }
  };
  const std::size_t width = static_cast<std::size_t>(in.width);
  lib::parallel_rows(in.height, static_cast<long long>(width) * in.height, [&](int first, int last) {
    colors(first * width, last * width);
    further(first * width, last * width);
  });
}

}  // namespace img
