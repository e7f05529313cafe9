// Vector shapes and their coverage.
#pragma once

#include <array>
#include <vector>

namespace art {

struct point {
  double x = 0;
  double y = 0;
};

struct outline {
  std::vector<point> points;
  bool closed = false;
};

// Red, green, blue, alpha, each 0 to 1.
using paint = std::array<double, 4>;

// A shape that is filled first and then stroked. Strokes have round ends and joins. A paint with alpha 0 draws nothing.
struct shape {
  std::vector<outline> outlines;
  paint fill{};
  bool even_odd = false;
  paint stroke{};
  double stroke_width = 1;
};

// Premultiplied samples, red, green, blue, alpha, row by row.
struct canvas {
  int width = 0;
  int height = 0;
  std::vector<std::array<double, 4>> pixels;
  canvas(int width, int height)
      : width(width), height(height), pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {}
};

// Draws over what is there; the shape's places are multiplied by `scale`. The same bits on every machine: exact
// coverage along rows, 32 rows in a pixel.
void draw(canvas& target, const shape& shape, double scale);

}  // namespace art
