#include "img/lookup/table.h"

#include <algorithm>

namespace img {
namespace {

constexpr std::uint16_t fixed_max = 16383;

std::uint32_t folded(std::uint32_t h, std::uint32_t x) {
  return h ^ (x + (h << 6) + (h >> 2) - 1640531527u);
}

// Values into nodes, nodes into rows, rows into planes, planes into the whole.
std::uint32_t hash_of(const std::vector<std::uint16_t>& cube, int points) {
  std::uint32_t whole = 0;
  const std::uint16_t* value = cube.data();
  for (int r = 0; r < points; ++r) {
    std::uint32_t plane = 0;
    for (int g = 0; g < points; ++g) {
      std::uint32_t row = 0;
      for (int b = 0; b < points; ++b) {
        std::uint32_t node = 0;
        for (int i = 0; i < 4; ++i) node = folded(node, *value++);
        row = folded(row, node);
      }
      plane = folded(plane, row);
    }
    whole = folded(whole, plane);
  }
  return whole;
}

// Points a side of a cube with this many entries, 0 when it is none.
int points_of(std::size_t entries) {
  for (int n = lookup_table::least_points; n <= lookup_table::most_points; ++n) {
    if (lookup_table::entries_of(n) == entries) return n;
  }
  return 0;
}

template <class T>
bool same_contents(const std::shared_ptr<const std::vector<T>>& a, const std::shared_ptr<const std::vector<T>>& b) {
  static const std::vector<T> none;
  return a == b || (a ? *a : none) == (b ? *b : none);
}

}  // namespace

void lookup_table::set_1d(std::span<const double> values, bool output_srgb) {
  set_raw({}, false, {values.begin(), values.end()}, output_srgb);
}

void lookup_table::set_3d(std::span<const std::uint16_t> values, bool output_srgb) {
  set_raw({values.begin(), values.end()}, output_srgb, {}, false);
}

void lookup_table::set_raw(std::vector<std::uint16_t> cube, bool srgb3, std::vector<double> curves, bool srgb1) {
  // An index of 14 bits must be one, whatever an archive held.
  points_ = points_of(cube.size());
  if (points_ != 0) {
    for (std::size_t i = 0; i < cube.size(); ++i) {
      if (i % 4 != 3) cube[i] = std::min(cube[i], fixed_max);
    }
  }
  output_srgb3 = srgb3;
  output_srgb1 = srgb1;
  table3d_ = cube.empty() ? nullptr : std::make_shared<const std::vector<std::uint16_t>>(std::move(cube));
  table1d_ = curves.empty() ? nullptr : std::make_shared<const std::vector<double>>(std::move(curves));
  cube_hash_ = has_cube() ? hash_of(*table3d_, points_) : 0;
}

const std::vector<std::uint16_t>& lookup_table::raw_cube() const {
  static const std::vector<std::uint16_t> none;
  return table3d_ ? *table3d_ : none;
}

const std::vector<double>& lookup_table::raw_curves() const {
  static const std::vector<double> none;
  return table1d_ ? *table1d_ : none;
}

bool lookup_table::operator==(const lookup_table& other) const {
  return output_srgb3 == other.output_srgb3 && output_srgb1 == other.output_srgb1 && cube_hash_ == other.cube_hash_ &&
         same_contents(table3d_, other.table3d_) && same_contents(table1d_, other.table1d_);
}

}  // namespace img
