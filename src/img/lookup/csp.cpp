// .csp: a cube or curves of floating-point numbers, red fastest, after a curve for each colour that leads to their
// places.
#include <array>

#include "img/lookup/sampling.h"
#include "img/lookup/text.h"
#include "io/exceptions.h"

namespace img {
namespace {

constexpr int most_shaper_points = 1 << 16;

class csp_reader {
 public:
  csp_reader(std::string_view text, const std::string& source) : lines_(text), source_(source) {}

  lookup_table read() {
    if (next() != "CSPLUTV100") refuse("CSPLUTV100");
    const std::string_view kind = next();
    if (kind != "1D" && kind != "3D") refuse("1D or 3D");
    const bool is_3d = kind == "3D";
    next();
    if (line_ == "BEGIN METADATA") {
      while (next() != "END METADATA") {
      }
      next();
    }
    std::array<table_shaper, 3> shapers;
    for (table_shaper& shaper : shapers) {
      shaper = read_shaper();
      next();
    }
    return is_3d ? read_grid(shapers) : read_curves(shapers);
  }

 private:
  std::string_view next() {
    if (!lines_.next(line_)) throw io::eof_error(source_);
    return line_;
  }
  [[noreturn]] void refuse(const char* expected) { bad_data_line(line_, lines_.number(), source_, expected); }

  int size_in(std::string_view word, int largest) {
    int size = 0;
    if (!parse_number(word, size) || size < 2 || size > largest) {
      throw io::invalid_format(source_, "Invalid table size " + std::string(word.substr(0, 30)) + " in line " +
                                            std::to_string(lines_.number()) + ", expected 2 to " +
                                            std::to_string(largest));
    }
    return size;
  }

  std::vector<double> numbers(int count) {
    std::vector<double> values;
    std::string_view rest = next();
    for (int i = 0; i < count; ++i) {
      if (!parse_number(take_word(rest), values.emplace_back()))
        refuse("as many finite numbers as the line before says");
    }
    return values;
  }

  // The number of places, the colours, and the places that they lead to.
  table_shaper read_shaper() {
    const int size = size_in(line_, most_shaper_points);
    table_shaper shaper;
    shaper.in = numbers(size);
    shaper.out = numbers(size);
    for (std::size_t i = 1; i < shaper.in.size(); ++i) {
      if (!(shaper.in[i - 1] < shaper.in[i])) {
        throw io::invalid_format(source_, "The inputs in line " + std::to_string(lines_.number() - 1) + " do not rise");
      }
    }
    if (shaper.in == std::vector<double>{0, 1} && shaper.out == std::vector<double>{0, 1}) return {};
    return shaper;
  }

  std::vector<double> triples(std::size_t count) {
    std::vector<double> values;
    for (std::size_t i = 0; i < count; ++i) {
      next();
      double point[3];
      parse_data_line(line_, lines_.number(), source_, point);
      values.insert(values.end(), point, point + 3);
    }
    return values;
  }

  lookup_table read_grid(const std::array<table_shaper, 3>& shapers) {
    table_grid grid;
    grid.shaper = shapers;
    std::size_t points = 1;
    std::string_view rest = line_;
    for (int& size : grid.size) {
      size = size_in(take_word(rest), largest_grid);
      points *= static_cast<std::size_t>(size);
    }
    grid.points = triples(points);
    return table_of(grid);
  }

  lookup_table read_curves(const std::array<table_shaper, 3>& shapers) {
    table_curves curves;
    curves.shaper = shapers;
    curves.size = size_in(line_, largest_curve);
    const auto n = static_cast<std::size_t>(curves.size);
    const std::vector<double> values = triples(n);
    curves.values.resize(values.size());
    for (std::size_t i = 0; i < n; ++i) {
      for (std::size_t c = 0; c < 3; ++c) curves.values[c * n + i] = values[3 * i + c];
    }
    return table_of(curves);
  }

  line_scanner lines_;
  std::string_view line_;
  const std::string& source_;
};

}  // namespace

lookup_table read_csp(std::string_view text, const std::string& source) {
  return csp_reader(text, source).read();
}

}  // namespace img
