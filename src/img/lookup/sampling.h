// From the grids and curves that files hold to the two forms of a lookup table.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "img/lookup/table.h"

namespace img {

// A curve of straight pieces, held at its ends. `in` rises from entry to entry; both are as long. Empty: unchanged.
struct table_shaper {
  std::vector<double> in;
  std::vector<double> out;
  double at(double x) const;
};

// The straight line that takes `low` to 0 and `high` to 1; empty for 0 and 1 themselves.
table_shaper range_shaper(double low, double high);

// A cube as a file holds it. Every `size` is 2 or more.
struct table_grid {
  std::array<int, 3> size{};   // points along red, green and blue
  bool red_fastest = true;     // else blue
  std::vector<double> points;  // red, green and blue of each
  // Per axis, from a colour to 0 (first point) to 1 (last).
  std::array<table_shaper, 3> shaper;
};

// A grid of one size that nothing comes before keeps its points, up to 129. Any other is sampled: at 129 points where
// it is larger, else at 65.
lookup_table table_of(const table_grid& grid);

// Curves as a file holds them: `size` values each of red, green, blue, one block after the other.
struct table_curves {
  int size = 0;
  std::vector<double> values;
  std::array<table_shaper, 3> shaper;
};

// Sampled at 1024 points, with straight lines between the values.
lookup_table table_of(const table_curves& curves);

// clamp(rint((value + 0.125) * 4096), 0, 16383)
std::uint16_t fixed_of(double value);

}  // namespace img
