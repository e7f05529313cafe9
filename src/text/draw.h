// Texts of one or more lines, measured and drawn into pictures.
#pragma once

#include <optional>
#include <string_view>

#include "img/image.h"
#include "lib/color.h"
#include "lib/point.h"
#include "lib/rectangle.h"
#include "text/fonts.h"

namespace text {

// How a text stands at its position. All sizes are pixels.
struct placement {
  int max_width = 0;            // as for break_lines()
  int max_lines = 0;            // as for break_lines()
  int line_gap = 0;             // added to the height of each line
  int x_align = 0;              // a line narrower than this stands in its middle
  int right_align = 0;          // a line narrower than this stands at its right end
  bool below_baseline = false;  // the text moves down by the font's ascent
  std::optional<math::rectangle> clip = {};
};

extent measure_text(fonts& fonts, std::string_view text, int max_width, int max_lines, const font& font);

// Draws the text in a colour, whose alpha counts, over the planes B, G, R of an 8-bit picture, and covers its A.
// `position` is the upper left corner of the first line. `text` is UTF-8.
void draw_text(fonts& fonts, std::string_view text, const font& font, img::image& target, math::point position,
               lib::color color, const placement& placement = {});

// Draws one mask with the start of its line at `position`.
void draw_mask(const mask& mask, img::image& target, math::point position, lib::color color,
               const std::optional<math::rectangle>& clip = {});

}  // namespace text
