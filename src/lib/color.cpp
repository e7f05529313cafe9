#include "lib/color.h"

#include <algorithm>
#include <cmath>

namespace lib {

color lerp(color a, color b, double t) {
  auto mix = [t](int from, int to) {
    return static_cast<std::uint8_t>(std::clamp(std::rint(from * (1.0 - t) + to * t), 0.0, 255.0));
  };
  return {mix(a.a, b.a), mix(a.r, b.r), mix(a.g, b.g), mix(a.b, b.b)};
}

}  // namespace lib
