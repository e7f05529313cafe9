// .cube and .cms: curves or a cube of floating-point numbers, red fastest.
#include "img/lookup/text.h"
#include "io/exceptions.h"

namespace img {
namespace {

void append_line(std::string& text, double r, double g, double b) {
  append_number(text, r);
  text += ' ';
  append_number(text, g);
  text += ' ';
  append_number(text, b);
  text += '\n';
}

std::string cube_lines(std::span<const std::uint16_t> nodes) {
  constexpr std::size_t n = lookup_table::cube_points;
  std::string text = "LUT_3D_SIZE 17\n";
  for (std::size_t b = 0; b < n; ++b) {
    for (std::size_t g = 0; g < n; ++g) {
      for (std::size_t r = 0; r < n; ++r) {
        const std::uint16_t* node = &nodes[((r * n + g) * n + b) * 4];
        auto value = [&](int c) { return node[c] / 4096.0 - 0.125; };
        append_line(text, value(2), value(1), value(0));
      }
    }
  }
  return text;
}

}  // namespace

lookup_table read_cube(std::string_view text, const std::string& source) {
  line_scanner lines(text);
  std::string_view line;
  int size3 = 0;
  int size1 = 0;
  std::size_t wanted = 0;
  std::vector<double> values;
  while (lines.next(line)) {
    if (is_data_line(line)) {
      if (wanted == 0) throw io::invalid_format(source, "Missing table size");
      double point[3];
      parse_data_line(line, source, point);
      if (values.size() == wanted) {
        throw io::invalid_format(source, size3 ? "Invalid 3D table size" : "Invalid 1D table size");
      }
      values.insert(values.end(), point, point + 3);
      continue;
    }
    const std::string_view word = take_word(line);
    const bool is_3d = word == "LUT_3D_SIZE";
    if (!is_3d && word != "LUT_1D_SIZE") continue;
    int size = 0;
    const bool valid =
        parse_number(take_word(line), size) && size >= 2 && size <= (is_3d ? largest_grid : largest_curve);
    // A second size behind data would change what the data means.
    if (!valid || !values.empty()) {
      throw io::invalid_format(source, is_3d ? "Invalid 3D table size" : "Invalid 1D table size");
    }
    (is_3d ? size3 : size1) = size;
    if (size3 && size1) throw io::invalid_format(source, "3D+1D tables are not supported");
    const std::size_t n = static_cast<std::size_t>(size);
    wanted = 3 * (is_3d ? n * n * n : n);
  }
  if (wanted == 0) throw io::invalid_format(source, "Missing table size");
  if (values.size() < wanted) throw io::eof_error(source);

  lookup_table table;
  if (size3) {
    table.set_3d(resample_cube(values, size3, true), true);
  } else {
    const std::size_t n = static_cast<std::size_t>(size1);
    std::vector<double> blocks(values.size());
    for (std::size_t i = 0; i < n; ++i) {
      for (std::size_t c = 0; c < 3; ++c) blocks[c * n + i] = values[3 * i + c];
    }
    table.set_1d(resample_curves(blocks, size1), true);
  }
  return table;
}

std::string write_cube(const lookup_table& table) {
  const bool is_3d = table.has_cube();
  std::string text = std::string("TITLE \"") + (is_3d ? "3D" : "1D") + " lookup table exported by Kestrin\"\n";
  if (is_3d) return text + cube_lines(table.cube());
  text += "LUT_1D_SIZE 1024\n";
  const std::span<const double> curves = table.curves();
  for (std::size_t i = 0; i < 1024; ++i) append_line(text, curves[i], curves[1024 + i], curves[2048 + i]);
  return text;
}

std::string write_cms(const lookup_table& table) {
  return "NUCODA_3D_CUBE 1\n# 17x17x17 3D lookup table exported by Kestrin\n" + cube_lines(table.cube());
}

}  // namespace img
