// A rectangle of whole pixels.
#pragma once

#include <algorithm>

#include "lib/point.h"

namespace math {

struct rectangle {
  int left = 0;
  int top = 0;
  int right = 0;  // not part of it
  int bottom = 0;
  bool empty() const { return left >= right || top >= bottom; }
  bool operator==(const rectangle&) const = default;
};

// Empty where the two do not meet.
inline rectangle intersect(const rectangle& a, const rectangle& b) {
  return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right), std::min(a.bottom, b.bottom)};
}

inline rectangle moved(const rectangle& box, point by) {
  return {box.left + by.x, box.top + by.y, box.right + by.x, box.bottom + by.y};
}

inline bool holds(const rectangle& box, point at) {
  return at.x >= box.left && at.x < box.right && at.y >= box.top && at.y < box.bottom;
}

}  // namespace math
