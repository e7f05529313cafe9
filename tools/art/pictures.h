// Drawings turned into the pictures of the interface: one for each state, by one rule for all of them.
#pragma once

#include <map>
#include <string>

#include "img/image.h"
#include "svg.h"

namespace art {

// A picture cut to its visible pixels, and where they were on the drawing.
struct drawn_state {
  img::image_ptr picture;
  math::point offset;
};
// The pictures of a bundle by their names, such as "grid_over.tga".
using pictures = std::map<std::string, drawn_state>;

// Draws every state that the drawing lists in `data-states`, at scale 1 or 2, and enters it under the file's name. The
// rules, and what the attributes of a drawing mean, are told in assets/skin/README.md. Throws std::runtime_error.
void add_states(pictures& into, const std::string& svg_path, int scale);

// A drawing without states as one picture of `size` pixels width, blue, green, red and straight alpha.
img::image draw_at_size(const element& svg, int size);

}  // namespace art
