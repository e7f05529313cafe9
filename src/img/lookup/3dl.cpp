// .3dl: a cube of integers, blue fastest, after a line of input positions. Its scale is what the header says of the
// depth of the results; without a word of that it is guessed.
#include <algorithm>
#include <cmath>

#include "img/lookup/sampling.h"
#include "img/lookup/text.h"
#include "io/exceptions.h"
#include "lib/paths.h"

namespace img {
namespace {

constexpr std::size_t most_values = std::size_t{3} * largest_grid * largest_grid * largest_grid;

// Size of the grid with this many nodes, 0 when they do not make one.
int grid_of(std::size_t nodes) {
  const int size = static_cast<int>(std::lround(std::cbrt(static_cast<double>(nodes))));
  const std::size_t n = static_cast<std::size_t>(size);
  return size >= 2 && n * n * n == nodes ? size : 0;
}

struct mesh {
  int size = 0;   // points a side as the header states them, 0 without
  int scale = 0;  // largest value that the stated depth can hold, 0 without
};

// "Mesh 4 12": 2^4 + 1 points a side, results of 12 bits.
mesh parse_mesh(std::string_view line, const std::string& source) {
  int input = 0;
  int depth = 0;
  take_word(line);
  if (!parse_number(take_word(line), input) || !parse_number(take_word(line), depth) || input < 1 || input > 8 ||
      depth < 8 || depth > 16) {
    throw io::invalid_format(source,
                             "Invalid 3D table size: expected \"Mesh 1\" to \"Mesh 8\" and a depth of 8 to 16 bits");
  }
  return {(1 << input) + 1, (1 << depth) - 1};
}

// "Output bit depth 10", "output: 12-bit", "Output range 0 1023" and their like: the largest value of the results that
// a comment tells, 0 for none.
int scale_in_comment(std::string_view comment) {
  const std::string text = lib::to_lower(comment);
  const std::size_t output = text.find("output");
  if (output == std::string::npos) return 0;
  const std::string rest = text.substr(output);
  const bool bits = rest.find("bit") != std::string::npos || rest.find("depth") != std::string::npos;
  for (std::size_t at = rest.find_first_of("0123456789"); at < rest.size();) {
    const std::size_t end = std::min(rest.find_first_not_of("0123456789", at), rest.size());
    int value = 0;
    if (parse_number(std::string_view(rest).substr(at, end - at), value)) {
      if (bits && value >= 8 && value <= 16) return (1 << value) - 1;
      for (int depth = 8; depth <= 16; ++depth) {
        if (value == (1 << depth) - 1) return value;
      }
    }
    at = rest.find_first_of("0123456789", end);
  }
  return 0;
}

}  // namespace

lookup_table read_3dl(std::string_view text, const std::string& source) {
  line_scanner lines(text);
  lines.take_comments();
  std::string_view line;
  mesh stated;
  int scale_told = 0;
  int positions = 0;
  std::vector<double> values;
  double largest = 0;
  while (lines.next(line)) {
    if (scale_told == 0 && values.empty()) scale_told = scale_in_comment(lines.comment());
    if (!is_data_line(line) || line == "3DMESH") {
      std::string_view rest = line;
      if (take_word(rest) == "Mesh") stated = parse_mesh(line, source);
      continue;
    }
    if (values.empty() && positions == 0) {
      int words = 0;
      for (std::string_view rest = line; !take_word(rest).empty();) ++words;
      if (words != 3) {
        positions = words;
        continue;
      }
    }
    int node[3];
    parse_data_line(line, lines.number(), source, node);
    if (values.size() >= most_values) {
      throw io::invalid_format(source,
                               "Invalid 3D table size: more than " + std::to_string(most_values / 3) + " nodes");
    }
    for (const int value : node) {
      largest = std::max(largest, static_cast<double>(value));
      values.push_back(value);
    }
  }

  // Three input positions look like a node.
  if (values.size() == 3 * 28 && positions == 0) values.erase(values.begin(), values.begin() + 3);
  const std::size_t nodes = values.size() / 3;
  int wanted = stated.size;
  // A longer or shorter list of positions says nothing of the grid.
  if (wanted == 0 && positions >= 2 && positions <= largest_grid) wanted = positions;
  const int size = grid_of(nodes);
  const std::size_t least = wanted == 0 ? 1 : static_cast<std::size_t>(wanted) * wanted * wanted;
  if (nodes < least) throw io::eof_error(source);
  if (size == 0 || (wanted != 0 && size != wanted)) {
    throw io::invalid_format(source, "Invalid 3D table size: " + std::to_string(nodes) + " nodes are no cube" +
                                         (wanted != 0 ? " of " + std::to_string(wanted) + " points a side" : ""));
  }
  const double scale = stated.scale ? stated.scale : scale_told ? scale_told : largest > 4095 ? 65535 : 4095;
  for (double& value : values) value /= scale;
  return table_of(table_grid{{size, size, size}, false, std::move(values), {}});
}

std::string write_3dl(const lookup_table& table) {
  std::string text;
  for (int i = 0; i < table.points(); ++i) {
    text += std::to_string(std::min(1023, i * 1024 / (table.points() - 1))) + (i + 1 < table.points() ? ' ' : '\n');
  }
  const std::span<const std::uint16_t> nodes = table.cube();
  auto level = [](std::uint16_t fixed) {
    // Beyond 4095 the whole file would be read on another scale.
    return std::to_string(static_cast<int>(std::clamp(std::rint((fixed / 4096.0 - 0.125) * 4095), 0.0, 4095.0)));
  };
  for (std::size_t i = 0; i < nodes.size(); i += 4) {
    text += level(nodes[i + 2]) + ' ' + level(nodes[i + 1]) + ' ' + level(nodes[i]) + '\n';
  }
  return text;
}

}  // namespace img
