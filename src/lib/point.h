// A pair of coordinates.
#pragma once

#include <compare>

namespace math {

template <class T>
struct point2 {
  T x{};
  T y{};
  auto operator<=>(const point2&) const = default;  // x before y
};

using point = point2<int>;
using pointd = point2<double>;

}  // namespace math
