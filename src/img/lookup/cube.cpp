// .cube and .cms: curves or a cube of floating-point numbers, red fastest.
#include <array>

#include "img/lookup/sampling.h"
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

std::string cube_lines(const lookup_table& table) {
  const std::span<const std::uint16_t> nodes = table.cube();
  const auto n = static_cast<std::size_t>(table.points());
  std::string text = "LUT_3D_SIZE " + std::to_string(n) + '\n';
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

[[noreturn]] void bad_size(bool is_3d, const std::string& source, const std::string& found) {
  throw io::invalid_format(source,
                           std::string(is_3d ? "Invalid 3D table size" : "Invalid 1D table size") + ": " + found);
}

// The keywords before the data.
struct cube_header {
  int size3 = 0;
  int size1 = 0;
  std::array<double, 3> low{0, 0, 0};  // the colours that the first and the last point stand for
  std::array<double, 3> high{1, 1, 1};

  std::size_t values() const {
    const std::size_t n = static_cast<std::size_t>(size3 ? size3 : size1);
    return 3 * (size3 ? n * n * n : n);
  }
};

void read_size(cube_header& header, bool is_3d, std::string_view word, const std::string& source) {
  const int largest = is_3d ? largest_grid : largest_curve;
  int size = 0;
  if (!parse_number(word, size) || size < 2 || size > largest) {
    bad_size(is_3d, source, std::string(word.substr(0, 30)) + ", expected 2 to " + std::to_string(largest));
  }
  (is_3d ? header.size3 : header.size1) = size;
  if (header.size3 && header.size1) throw io::invalid_format(source, "3D+1D tables are not supported");
}

// A keyword line: the domain as three numbers each in lines of its own, or one range for all three colours.
void read_keyword(cube_header& header, std::string_view line, int number, const std::string& source) {
  std::string_view rest = line;
  const std::string_view word = take_word(rest);
  if (word == "LUT_3D_SIZE" || word == "LUT_1D_SIZE") {
    read_size(header, word == "LUT_3D_SIZE", take_word(rest), source);
  } else if (word == "DOMAIN_MIN" || word == "DOMAIN_MAX") {
    for (double& value : word == "DOMAIN_MIN" ? header.low : header.high) {
      if (!parse_number(take_word(rest), value)) bad_data_line(line, number, source, "three finite numbers");
    }
  } else if (word == "LUT_3D_INPUT_RANGE" || word == "LUT_1D_INPUT_RANGE") {
    double low = 0;
    double high = 1;
    if (!parse_number(take_word(rest), low) || !parse_number(take_word(rest), high)) {
      bad_data_line(line, number, source, "two finite numbers");
    }
    header.low.fill(low);
    header.high.fill(high);
  }
}

std::array<table_shaper, 3> shapers_of(const cube_header& header, const std::string& source) {
  std::array<table_shaper, 3> shapers;
  for (std::size_t c = 0; c < 3; ++c) {
    if (!(header.low[c] < header.high[c])) {
      throw io::invalid_format(
          source, "Invalid domain: from " + std::to_string(header.low[c]) + " to " + std::to_string(header.high[c]));
    }
    shapers[c] = range_shaper(header.low[c], header.high[c]);
  }
  return shapers;
}

}  // namespace

lookup_table read_cube(std::string_view text, const std::string& source) {
  line_scanner lines(text);
  std::string_view line;
  cube_header header;
  std::vector<double> values;
  while (lines.next(line)) {
    if (!is_data_line(line)) {
      const std::size_t before = header.values();
      read_keyword(header, line, lines.number(), source);
      // A second size after data would change what the data means.
      if (!values.empty() && header.values() != before) bad_size(header.size3, source, "it comes after data");
      continue;
    }
    if (header.values() == 0) {
      throw io::invalid_format(source, "Missing table size: line " + std::to_string(lines.number()) +
                                           " is data, but no LUT_3D_SIZE or LUT_1D_SIZE comes before it");
    }
    double point[3];
    parse_data_line(line, lines.number(), source, point);
    if (values.size() == header.values()) {
      bad_size(header.size3, source, "more than the " + std::to_string(values.size() / 3) + " lines of data expected");
    }
    values.insert(values.end(), point, point + 3);
  }
  const std::size_t wanted = header.values();
  if (wanted == 0) throw io::invalid_format(source, "Missing table size: expected LUT_3D_SIZE or LUT_1D_SIZE");
  if (values.size() < wanted) throw io::eof_error(source);

  const std::array<table_shaper, 3> shapers = shapers_of(header, source);
  if (header.size3)
    return table_of(table_grid{{header.size3, header.size3, header.size3}, true, std::move(values), shapers});
  const auto n = static_cast<std::size_t>(header.size1);
  std::vector<double> blocks(values.size());
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t c = 0; c < 3; ++c) blocks[c * n + i] = values[3 * i + c];
  }
  return table_of(table_curves{header.size1, std::move(blocks), shapers});
}

std::string write_cube(const lookup_table& table) {
  const bool is_3d = table.has_cube();
  std::string text = std::string("TITLE \"") + (is_3d ? "3D" : "1D") + " lookup table exported by Kestrin\"\n";
  if (is_3d) return text + cube_lines(table);
  text += "LUT_1D_SIZE 1024\n";
  const std::span<const double> curves = table.curves();
  for (std::size_t i = 0; i < 1024; ++i) append_line(text, curves[i], curves[1024 + i], curves[2048 + i]);
  return text;
}

std::string write_cms(const lookup_table& table) {
  const std::string n = std::to_string(table.points());
  return "NUCODA_3D_CUBE 1\n# " + n + 'x' + n + 'x' + n + " 3D lookup table exported by Kestrin\n" + cube_lines(table);
}

}  // namespace img
