#include "text/draw.h"

#include <algorithm>

#include "text/layout.h"
#include "text/rows.h"

namespace text {
namespace {

std::vector<std::string_view> lines_of(fonts& fonts, std::string_view text, int max_width, int max_lines,
                                       const font& font) {
  return break_lines(text, max_width, max_lines, [&](std::string_view piece) { return fonts.width_of(font, piece); });
}

}  // namespace

extent measure_text(fonts& fonts, std::string_view text, int max_width, int max_lines, const font& font) {
  extent result;
  const std::vector<std::string_view> lines = lines_of(fonts, text, max_width, max_lines, font);
  for (const std::string_view line : lines) result.width = std::max(result.width, fonts.width_of(font, line));
  result.height = static_cast<int>(lines.size()) * fonts.metrics_of(font).height;
  return result;
}

void draw_text(fonts& fonts, std::string_view text, const font& font, img::image& target, math::point position,
               lib::color color, const placement& placement) {
  const font_metrics metrics = fonts.metrics_of(font);
  int y = position.y + (placement.below_baseline ? metrics.ascent : 0);
  for (const std::string_view line : lines_of(fonts, text, placement.max_width, placement.max_lines, font)) {
    if (!line.empty()) {
      int x = position.x;
      if (placement.x_align > 0 || placement.right_align > 0) {
        const int width = fonts.width_of(font, line);
        if (placement.x_align > width) x += (placement.x_align - width) / 2;
        if (placement.right_align > width) x += placement.right_align - width;
      }
      if (const auto ink = fonts.mask_of(font, line)) draw_mask(*ink, target, {x, y}, color, placement.clip);
    }
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
  const std::uint8_t values[] = {color.b, color.g, color.r, 255};
  const char letters[] = {'B', 'G', 'R', 'A'};
  for (int i = 0; i < 4; ++i) {
    const int plane = target.plane_of(letters[i]);
    if (plane < 0) continue;
    for (int y = area.top; y < area.bottom; ++y) {
      const std::uint8_t* coverage =
          mask.coverage.data() + static_cast<std::size_t>(y - top) * mask.width + (area.left - left);
      cover_row(target.row(plane, y) + area.left, coverage, static_cast<std::size_t>(area.right - area.left), values[i],
                color.a);
    }
  }
}

}  // namespace text
