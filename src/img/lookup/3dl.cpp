// .3dl: a cube of integers, blue fastest, behind a line of input positions.
#include <algorithm>
#include <cmath>

#include "img/lookup/text.h"
#include "io/exceptions.h"

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
    throw io::invalid_format(source, "Invalid 3D table size");
  }
  return {(1 << input) + 1, (1 << depth) - 1};
}

}  // namespace

lookup_table read_3dl(std::string_view text, const std::string& source) {
  line_scanner lines(text);
  std::string_view line;
  mesh stated;
  int positions = 0;
  std::vector<double> values;
  double largest = 0;
  while (lines.next(line)) {
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
    parse_data_line(line, source, node);
    if (values.size() >= most_values) throw io::invalid_format(source, "Invalid 3D table size");
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
  if (size == 0 || (wanted != 0 && size != wanted)) throw io::invalid_format(source, "Invalid 3D table size");
  const double scale = stated.scale ? stated.scale : largest > 4095 ? 65535 : 4095;
  for (double& value : values) value /= scale;
  lookup_table table;
  table.set_3d(resample_cube(values, size, false), true);
  return table;
}

std::string write_3dl(const lookup_table& table) {
  std::string text = "0 64 128 192 256 320 384 448 512 576 640 704 768 832 896 960 1023\n";
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
