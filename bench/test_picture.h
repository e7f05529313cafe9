// A picture like a rendered frame: flat background, smooth shading, hard edges, and grain in a part of it.
#pragma once

#include <cmath>
#include <cstdint>

#include "img/image.h"

namespace bench {

inline img::image test_picture(const char* letters, int width, int height, int number) {
  img::image image(letters, 8, width, height);
  const int planes = image.plane_count();
  std::uint32_t noise = 1;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const double u = (x - width * (0.3 + 0.01 * number)) / height;
      const double v = (y - height * 0.5) / height;
      const double d = u * u + v * v;
      noise = noise * 1664525u + 1013904223u;
      const bool ball = d < 0.12;
      const bool grain = x > width * 2 / 3;
      for (int p = 0; p < planes; ++p) {
        int value = p == 3 ? 0 : 40 + 10 * p;                                       // background, transparent
        if (ball) value = p == 3 ? 255 : static_cast<int>(230 - 900 * d - 20 * p);  // shaded, opaque
        if (d >= 0.12 && d < 0.125) value = p == 3 ? 128 : 90;
        if (grain && p < 3) value += static_cast<int>(noise >> (24 + p)) & 15;
        image.row(p, y)[x] = static_cast<std::uint8_t>(value);
      }
    }
  }
  return image;
}

}  // namespace bench
