// Breaking of a text into lines.
#pragma once

#include <functional>
#include <string_view>
#include <vector>

namespace text {

constexpr int max_line_width = 4096;  // pixels, and the widest mask of a line
constexpr int max_mask_height = 1024;

// Width in pixels of a piece of one line.
using measure_function = std::function<int(std::string_view piece)>;

// The lines of a UTF-8 text, pieces of it without the blanks at their ends. A line feed ends a line; one at the end of
// the text adds no empty line. A word that would bring the line, measured from its start, over the limit begins the
// next one, so a word longer than the limit is a line of its own. A width of 0 or above max_line_width is
// max_line_width. At most `max_lines` lines, 0 for all.
std::vector<std::string_view> break_lines(std::string_view text, int max_width, int max_lines,
                                          const measure_function& measure);

}  // namespace text
