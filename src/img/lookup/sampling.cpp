#include "img/lookup/sampling.h"

#include <algorithm>
#include <cmath>

namespace img {
namespace {

constexpr int sampled_points = 65;

// A place between two of `size` points.
struct place {
  std::size_t cell = 0;
  double fraction = 0;
};

place place_of(double position, int size) {
  if (!(position > 0)) return {};  // also where an infinite value of a file gave no number
  position = std::min(position, static_cast<double>(size - 1));
  const int cell = std::min(static_cast<int>(position), size - 2);
  return {static_cast<std::size_t>(cell), position - cell};
}

// Where sample `i` of `samples` lies on an axis. A whole number of points apart, no rounding comes between.
place place_of(int i, int samples, int size, const table_shaper& shaper) {
  if (!shaper.in.empty()) return place_of(shaper.at(i / static_cast<double>(samples - 1)) * (size - 1), size);
  const long long position = static_cast<long long>(i) * (size - 1);
  const long long cell = std::min<long long>(position / (samples - 1), size - 2);
  return {static_cast<std::size_t>(cell), static_cast<double>(position - cell * (samples - 1)) / (samples - 1)};
}

int points_for(const table_grid& grid) {
  const int largest = *std::max_element(grid.size.begin(), grid.size.end());
  const bool even = std::all_of(grid.size.begin(), grid.size.end(), [&](int size) { return size == largest; });
  const bool plain = std::all_of(grid.shaper.begin(), grid.shaper.end(), [](const auto& s) { return s.in.empty(); });
  if (largest > sampled_points && !(even && plain)) return lookup_table::most_points;
  return even && plain ? std::min(largest, lookup_table::most_points) : sampled_points;
}

}  // namespace

double table_shaper::at(double x) const {
  if (in.empty()) return x;
  const auto above = std::upper_bound(in.begin(), in.end(), x);
  if (above == in.begin()) return out.front();
  if (above == in.end()) return out.back();
  const auto i = static_cast<std::size_t>(above - in.begin());
  // Each value has its own weight: their difference may be more than a number holds.
  const double t = (x - in[i - 1]) / (in[i] - in[i - 1]);
  return out[i - 1] * (1 - t) + out[i] * t;
}

table_shaper range_shaper(double low, double high) {
  if (low == 0 && high == 1) return {};
  return {{low, high}, {0, 1}};
}

std::uint16_t fixed_of(double value) {
  return static_cast<std::uint16_t>(std::clamp(std::rint((value + 0.125) * 4096), 0.0, 16383.0));
}

lookup_table table_of(const table_grid& grid) {
  const int points = points_for(grid);
  std::array<std::vector<place>, 3> at;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    for (int i = 0; i < points; ++i) at[axis].push_back(place_of(i, points, grid.size[axis], grid.shaper[axis]));
  }
  const auto reds = static_cast<std::size_t>(grid.size[0]);
  const auto greens = static_cast<std::size_t>(grid.size[1]);
  const auto blues = static_cast<std::size_t>(grid.size[2]);
  const std::size_t red_step = grid.red_fastest ? 3 : greens * blues * 3;
  const std::size_t green_step = grid.red_fastest ? reds * 3 : blues * 3;
  const std::size_t blue_step = grid.red_fastest ? reds * greens * 3 : 3;

  std::vector<std::uint16_t> out;
  out.reserve(lookup_table::entries_of(points));
  for (const place& r : at[0]) {
    for (const place& g : at[1]) {
      for (const place& b : at[2]) {
        const double* corner = grid.points.data() + r.cell * red_step + g.cell * green_step + b.cell * blue_step;
        double sum[3] = {0, 0, 0};
        for (int k = 0; k < 8; ++k) {
          const double weight = (k & 4 ? r.fraction : 1 - r.fraction) * (k & 2 ? g.fraction : 1 - g.fraction) *
                                (k & 1 ? b.fraction : 1 - b.fraction);
          if (weight == 0) continue;
          const double* point = corner + (k & 4 ? red_step : 0) + (k & 2 ? green_step : 0) + (k & 1 ? blue_step : 0);
          for (int c = 0; c < 3; ++c) sum[c] += weight * point[c];
        }
        for (int c = 2; c >= 0; --c) out.push_back(fixed_of(sum[c]));
        out.push_back(0);
      }
    }
  }
  lookup_table table;
  table.set_3d(out, true);
  return table;
}

lookup_table table_of(const table_curves& curves) {
  std::vector<double> out;
  out.reserve(lookup_table::curve_entries);
  for (std::size_t c = 0; c < 3; ++c) {
    const double* curve = curves.values.data() + c * static_cast<std::size_t>(curves.size);
    for (int i = 0; i < 1024; ++i) {
      const place at = place_of(i, 1024, curves.size, curves.shaper[c]);
      out.push_back(curve[at.cell] * (1 - at.fraction) + curve[at.cell + 1] * at.fraction);
    }
  }
  lookup_table table;
  table.set_1d(out, true);
  return table;
}

}  // namespace img
