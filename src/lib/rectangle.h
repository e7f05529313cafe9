// A rectangle of whole pixels.
#pragma once

#include <algorithm>

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

}  // namespace math
