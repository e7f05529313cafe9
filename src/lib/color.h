// A colour value of four bytes.
#pragma once

#include <cstdint>

namespace lib {

// Each part is 0 to 255; the order of the fields is the order in archives.
struct color {
  std::uint8_t a = 255;
  std::uint8_t r = 0;
  std::uint8_t g = 0;
  std::uint8_t b = 0;
  bool operator==(const color&) const = default;
};

// Each byte becomes rint(a * (1 - t) + b * t); t is 0 to 1.
color lerp(color a, color b, double t);

}  // namespace lib
