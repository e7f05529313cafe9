// The drawings of the interface: SVG files of a small part of SVG, so that any editor of them shows what the program
// shows.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "shapes.h"

namespace art {

// An element and what lies in it. Elements: svg, g, path, rect, circle, ellipse, line, polyline, polygon.
struct element {
  std::string name;
  std::map<std::string, std::string, std::less<>> attributes;
  std::vector<element> children;
  int line = 0;  // of the file
  std::string path;

  const std::string* find(std::string_view key) const;
  double number(std::string_view key, double otherwise) const;
};

// Throws std::runtime_error("FILE:LINE: what is wrong").
element read_svg(const std::string& path);

// The shapes of a drawing for one state of it. `currentColor` is `ink`; an element with a list `data-in` of states
// takes part in those alone.
std::vector<shape> shapes_of(const element& svg, const std::string& state, const paint& ink);

// "#rgb" or "#rrggbb"; throws std::invalid_argument.
paint parse_color(std::string_view text);
std::vector<std::string> split_words(std::string_view text);

}  // namespace art
