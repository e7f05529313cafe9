// Where the lines of a text layer stand, for whoever edits the text on the picture.
#pragma once

#include <string_view>
#include <vector>

#include "composition/track_info.h"
#include "lib/rectangle.h"
#include "text/fonts.h"

namespace render {

// One line as draw_text_layer() places it, in pixels of the layer.
struct line_place {
  std::size_t first = 0;  // byte of the text
  std::size_t last = 0;   // the byte after it; the blanks and the line feed that end the line are not in it
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
};

// The lines of a text in a layer of that size. A text without any, and one that ends in a line feed, has an empty last
// line, where the caret stands.
std::vector<line_place> place_text_lines(text::fonts& fonts, const ksn::text_attributes& attributes,
                                         std::string_view text, int width, int height);

// The place in front of a byte, which is that of a character: a box without width as high as its line.
math::rectangle caret_place(text::fonts& fonts, const ksn::text_attributes& attributes, std::string_view text,
                            const std::vector<line_place>& lines, std::size_t byte);

// The byte in front of which the caret stands for a point of the layer: of the nearest line.
std::size_t byte_at_place(text::fonts& fonts, const ksn::text_attributes& attributes, std::string_view text,
                          const std::vector<line_place>& lines, int x, int y);

}  // namespace render
