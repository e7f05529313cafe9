// A pair of coordinates.
#pragma once

namespace math {

template <class T>
struct point2 {
  T x{};
  T y{};
  bool operator==(const point2&) const = default;
};

using point = point2<int>;
using pointd = point2<double>;

}  // namespace math
