#include "render/text/line_places.h"

#include <algorithm>

#include "render/text/layer_picture.h"
#include "text/layout.h"

namespace render {
namespace {

text::font font_of(const ksn::text_attributes& attributes) {
  return {attributes.font, attributes.size, attributes.bold, attributes.italic};
}

// The line that holds the byte; one between two lines, in the blanks that ended the first, belongs to that.
const line_place& line_of(const std::vector<line_place>& lines, std::size_t byte) {
  const auto after = std::upper_bound(lines.begin(), lines.end(), byte,
                                      [](std::size_t at, const line_place& line) { return at < line.first; });
  return after == lines.begin() ? *after : *(after - 1);
}

}  // namespace

std::vector<line_place> place_text_lines(text::fonts& fonts, const ksn::text_attributes& attributes,
                                         std::string_view text, int width, int height) {
  const text::font font = font_of(attributes);
  const int line_height = fonts.metrics_of(font).height;
  const int margin = text_layer_margin(line_height);
  const auto measure = [&](std::string_view piece) { return fonts.width_of(font, piece); };
  std::vector<line_place> lines;
  for (const std::string_view piece : text::break_lines(text, std::max(width - 2 * margin, 1), 0, measure)) {
    const std::size_t first = piece.data() ? static_cast<std::size_t>(piece.data() - text.data()) : text.size();
    lines.push_back({first, first + piece.size(), 0, 0, piece.empty() ? 0 : measure(piece), line_height});
  }
  if (lines.empty() || text.ends_with('\n')) lines.push_back({text.size(), text.size(), 0, 0, 0, line_height});
  // A line feed at the end adds no line to what is drawn.
  const int drawn = static_cast<int>(lines.size()) - (lines.size() > 1 && text.ends_with('\n') ? 1 : 0);
  int top = margin;
  if (attributes.align_y == ksn::text_align_y_type::middle) top = (height - drawn * line_height) / 2;
  if (attributes.align_y == ksn::text_align_y_type::bottom) top = height - margin - drawn * line_height;
  for (line_place& line : lines) {
    line.left = margin;
    if (attributes.align_x == ksn::text_align_x_type::center) line.left = (width - line.width) / 2;
    if (attributes.align_x == ksn::text_align_x_type::right) line.left = width - margin - line.width;
    line.top = top;
    top += line_height;
  }
  return lines;
}

math::rectangle caret_place(text::fonts& fonts, const ksn::text_attributes& attributes, std::string_view text,
                            const std::vector<line_place>& lines, std::size_t byte) {
  const line_place& line = line_of(lines, byte);
  const std::size_t end = std::max(line.last, byte);
  const std::string_view shown = text.substr(line.first, end - line.first);
  const int x = line.left + (shown.empty() ? 0 : fonts.caret_of(font_of(attributes), shown, byte - line.first));
  return {x, line.top, x, line.top + line.height};
}

std::size_t byte_at_place(text::fonts& fonts, const ksn::text_attributes& attributes, std::string_view text,
                          const std::vector<line_place>& lines, int x, int y) {
  const line_place* nearest = &lines.front();
  for (const line_place& line : lines) {
    if (y >= line.top) nearest = &line;
  }
  const std::string_view shown = text.substr(nearest->first, nearest->last - nearest->first);
  return shown.empty() ? nearest->first : nearest->first + fonts.byte_at(font_of(attributes), shown, x - nearest->left);
}

}  // namespace render
