// Frame numbers that stay within bounds whatever a user or a file says.
#pragma once

#include <algorithm>
#include <cmath>

namespace ksn {

// Every `begin`, length, in and out point lies within plus and minus this, so the sum of two of them is an int.
constexpr int frame_limit = 1'000'000'000;

inline int clamped_frame(long long value) {
  return static_cast<int>(std::clamp<long long>(value, -frame_limit, frame_limit));
}

// To the nearest integer, ties to the even one; 0 for what is not a number.
inline int rounded_frame(double value) {
  if (std::isnan(value)) return 0;
  return static_cast<int>(std::nearbyint(std::clamp<double>(value, -frame_limit, frame_limit)));
}

}  // namespace ksn
