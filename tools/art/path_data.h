// Paths, basic forms and transforms of SVG as straight outlines.
#pragma once

#include <string_view>
#include <vector>

#include "shapes.h"

namespace art {

// x' = a x + c y + e, y' = b x + d y + f
struct matrix {
  double a = 1, b = 0, c = 0, d = 1, e = 0, f = 0;
  point apply(point p) const { return {a * p.x + c * p.y + e, b * p.x + d * p.y + f}; }
  matrix operator*(const matrix& inner) const;
  double size() const;  // by how much lengths grow
};

// All commands of the SVG 1.1 path syntax. Throws std::invalid_argument.
std::vector<outline> parse_path(std::string_view data);
// translate, scale, rotate and matrix. Throws std::invalid_argument.
matrix parse_transform(std::string_view text);

outline rounded_box(double x, double y, double width, double height, double radius);
outline ellipse(double cx, double cy, double rx, double ry);

}  // namespace art
