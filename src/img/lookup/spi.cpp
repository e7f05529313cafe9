// .spi1d: one to three curves over a range. .spi3d: a cube whose lines begin with the place of their node.
#include <algorithm>
#include <array>

#include "img/lookup/sampling.h"
#include "img/lookup/text.h"
#include "io/exceptions.h"

namespace img {
namespace {

[[noreturn]] void refuse(const std::string& source, const std::string& what) {
  throw io::invalid_format(source, what);
}

}  // namespace

lookup_table read_spi1d(std::string_view text, const std::string& source) {
  line_scanner lines(text);
  std::string_view line;
  double low = 0;
  double high = 1;
  int length = 0;
  int components = 0;
  do {
    if (!lines.next(line)) refuse(source, "Missing line \"{\", expected before the values");
    std::string_view rest = line;
    const std::string_view word = take_word(rest);
    bool valid = true;
    if (word == "From") valid = parse_number(take_word(rest), low) && parse_number(take_word(rest), high) && low < high;
    if (word == "Length") valid = parse_number(take_word(rest), length) && length >= 2 && length <= largest_curve;
    if (word == "Components") valid = parse_number(take_word(rest), components) && components >= 1 && components <= 3;
    if (!valid) {
      bad_data_line(line, lines.number(), source,
                    word == "From"     ? "two rising numbers"
                    : word == "Length" ? "2 to 1048576 values"
                                       : "1 to 3 components");
    }
  } while (line != "{");
  if (length == 0 || components == 0) refuse(source, "Missing table size: expected the lines Length and Components");

  table_curves curves;
  curves.size = length;
  curves.shaper.fill(range_shaper(low, high));
  // One block grows at a time, so that a length alone takes no memory.
  std::array<std::vector<double>, 3> blocks;
  for (int i = 0; i < length; ++i) {
    if (!lines.next(line) || line == "}") throw io::eof_error(source);
    std::string_view rest = line;
    for (int c = 0; c < components; ++c) {
      double value = 0;
      if (!parse_number(take_word(rest), value)) {
        bad_data_line(line, lines.number(), source, "as many finite numbers as Components says");
      }
      blocks[static_cast<std::size_t>(c)].push_back(value);
    }
  }
  for (std::size_t c = 0; c < 3; ++c) {
    const std::vector<double>& block = blocks[std::min(c, static_cast<std::size_t>(components - 1))];
    curves.values.insert(curves.values.end(), block.begin(), block.end());
  }
  return table_of(curves);
}

lookup_table read_spi3d(std::string_view text, const std::string& source) {
  line_scanner lines(text);
  std::string_view line;
  const auto next = [&] {
    if (!lines.next(line)) throw io::eof_error(source);
  };
  next();
  if (!line.starts_with("SPILUT")) bad_data_line(line, lines.number(), source, "SPILUT 1.0");
  next();
  next();  // after the numbers of inputs and outputs, three each
  int size[3];
  parse_data_line(line, lines.number(), source, size);
  for (const int points : size) {
    if (points < 2 || points > largest_grid) {
      refuse(source,
             "Invalid 3D table size " + std::to_string(points) + ", expected 2 to " + std::to_string(largest_grid));
    }
  }
  // As lines come, in any order; each node once.
  struct node {
    std::size_t place;
    double value[3];
  };
  const std::size_t count =
      static_cast<std::size_t>(size[0]) * static_cast<std::size_t>(size[1]) * static_cast<std::size_t>(size[2]);
  std::vector<node> nodes;
  while (nodes.size() < count) {
    next();
    std::string_view rest = line;
    std::size_t place = 0;
    for (const int points : size) {
      int at = 0;
      if (!parse_number(take_word(rest), at) || at < 0 || at >= points) {
        bad_data_line(line, lines.number(), source, "the place of a node and three finite numbers");
      }
      place = place * static_cast<std::size_t>(points) + static_cast<std::size_t>(at);
    }
    node& read = nodes.emplace_back(node{place, {}});
    for (double& value : read.value) {
      if (!parse_number(take_word(rest), value)) {
        bad_data_line(line, lines.number(), source, "the place of a node and three finite numbers");
      }
    }
  }
  table_grid grid;
  grid.size = {size[0], size[1], size[2]};
  grid.red_fastest = false;
  grid.points.resize(3 * count);
  std::vector<bool> seen(count);
  for (const node& read : nodes) {
    if (seen[read.place]) refuse(source, "Invalid 3D table: a node is told twice");
    seen[read.place] = true;
    std::copy_n(read.value, 3, &grid.points[3 * read.place]);
  }
  return table_of(grid);
}

}  // namespace img
