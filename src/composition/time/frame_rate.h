// Frame rates as the fractions that they stand for.
#pragma once

namespace ksn {

struct frame_rate {
  int numerator = 0;
  int denominator = 1;
  double value() const { return static_cast<double>(numerator) / denominator; }
  bool operator==(const frame_rate&) const = default;
};

// `fpcs` is frames per second times 100, over 0. 2398, 2997 and their multiples are n * 1000 / 1001.
frame_rate exact_rate(int fpcs);

}  // namespace ksn
