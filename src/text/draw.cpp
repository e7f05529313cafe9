#include "text/draw.h"

#include <algorithm>
#include <limits>

#include "text/layout.h"
#include "text/rows.h"

namespace text {
namespace {

std::vector<std::string_view> lines_of(fonts& fonts, std::string_view text, int max_width, int max_lines,
                                       const font& font) {
  return break_lines(text, max_width, max_lines, [&](std::string_view piece) { return fonts.width_of(font, piece); });
}

// A text that needs no breaking is looked up once: interfaces draw hundreds of them.
bool is_one_line(std::string_view text, int max_lines) {
  const auto is_blank = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
  return !text.empty() && max_lines >= 0 && text.find('\n') == text.npos && !is_blank(text.front()) &&
         !is_blank(text.back());
}

int held_width(int max_width) {
  return max_width <= 0 ? max_line_width : std::min(max_width, max_line_width);
}

void draw_line(const drawn_line& line, img::image& target, math::point position, lib::color color,
               const placement& placement) {
  if (placement.x_align > line.size.width) position.x += (placement.x_align - line.size.width) / 2;
  if (placement.right_align > line.size.width) position.x += placement.right_align - line.size.width;
  if (line.ink) draw_mask(*line.ink, target, position, color, placement.clip);
}

}  // namespace

extent measure_text(fonts& fonts, std::string_view text, int max_width, int max_lines, const font& font) {
  extent result;
  if (is_one_line(text, max_lines)) {
    result = fonts.extent_of(font, text);
    if (result.width <= held_width(max_width)) return result;
    result = {};
  }
  const std::vector<std::string_view> lines = lines_of(fonts, text, max_width, max_lines, font);
  for (const std::string_view line : lines) result.width = std::max(result.width, fonts.width_of(font, line));
  result.height = static_cast<int>(lines.size()) * fonts.metrics_of(font).height;
  return result;
}

void draw_text(fonts& fonts, std::string_view text, const font& font, img::image& target, math::point position,
               lib::color color, const placement& placement) {
  if (is_one_line(text, placement.max_lines) && !placement.below_baseline) {
    const int widest = held_width(placement.max_width);
    const drawn_line line = fonts.drawn(font, text, widest);
    if (line.size.width <= widest) return draw_line(line, target, position, color, placement);
  }
  const font_metrics metrics = fonts.metrics_of(font);
  int y = position.y + (placement.below_baseline ? metrics.ascent : 0);
  for (const std::string_view line : lines_of(fonts, text, placement.max_width, placement.max_lines, font)) {
    if (!line.empty())
      draw_line(fonts.drawn(font, line, std::numeric_limits<int>::max()), target, {position.x, y}, color, placement);
    y += metrics.height + placement.line_gap;
  }
}

void draw_mask(const mask& mask, img::image& target, math::point position, lib::color color,
               const std::optional<math::rectangle>& clip) {
  if (target.format[0] != 'B' || target.depth[0] != 8) return;
  const int left = position.x + mask.left;
  const int top = position.y + mask.top;
  math::rectangle area =
      math::intersect({left, top, left + mask.width, top + mask.height}, {0, 0, target.width, target.height});
  if (clip) area = intersect(area, *clip);
  if (area.empty() || color.a == 0) return;
  constexpr char letters[] = {'B', 'G', 'R', 'A'};
  const std::uint8_t all_values[] = {color.b, color.g, color.r, 255};
  std::uint8_t* rows[4];
  std::uint8_t values[4];
  int count = 0;
  for (int i = 0; i < 4; ++i) {
    const int plane = target.plane_of(letters[i]);
    if (plane < 0) continue;
    values[count] = all_values[i];
    rows[count++] = target.row(plane, area.top) + area.left;
  }
  const std::uint8_t* coverage =
      mask.coverage.data() + static_cast<std::size_t>(area.top - top) * mask.width + (area.left - left);
  for (int y = area.top; y < area.bottom; ++y) {
    cover_rows(rows, values, count, coverage, static_cast<std::size_t>(area.right - area.left), color.a);
    for (int i = 0; i < count; ++i) rows[i] += target.width;
    coverage += mask.width;
  }
}

}  // namespace text
