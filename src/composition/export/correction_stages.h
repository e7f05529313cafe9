// A colour correction as the steps that other programs have nodes or effects for, in the order of their application.
#pragma once

#include <array>

#include "img/transfer.h"

namespace ksn {

using rgb_values = std::array<double, 3>;  // red, green, blue

struct correction_stages {
  explicit correction_stages(const img::correction& settings);

  rgb_values stops;     // exposure
  rgb_values multiply;  // exposure and colour temperature as factors
  rgb_values lift;      // black becomes it
  rgb_values gain;      // white becomes it
  rgb_values gamma;     // 1 over the exponent: above 1 brightens
  // In the encoded domain: the value becomes (value + brightness - 0.23) * contrast + 0.23.
  rgb_values brightness;
  rgb_values contrast;
  rgb_values hue;         // degrees
  rgb_values saturation;  // 1 is neutral
  bool clips = false;
  double knee = 1;  // where the soft clip begins

  bool has_grade() const;
  bool has_contrast() const;
  bool has_hue() const;
};

// Contrast turns around this value.
constexpr double contrast_pivot = 0.23;

inline bool all(const rgb_values& values, double value) {
  return values[0] == value && values[1] == value && values[2] == value;
}
inline bool equal(const rgb_values& values) {
  return values[0] == values[1] && values[1] == values[2];
}
inline double mean(const rgb_values& values) {
  return equal(values) ? values[0] : (values[0] + values[1] + values[2]) / 3;
}

}  // namespace ksn
