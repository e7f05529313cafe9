#include "ui/toolkit/tip.h"

#include <algorithm>

#include "ui/toolkit/palette.h"

namespace ui {
namespace {

// At scale 1.
constexpr int widest_text = 400;
constexpr int margin_x = 8;
constexpr int margin_y = 4;
constexpr int line_gap = 2;
constexpr int from_pointer = 20;  // below the arrow
constexpr int from_edge = 2;

}  // namespace

rectangle tip_box(math::point text_size, math::point pointer, math::point window, int scale) {
  const int width = text_size.x + 2 * margin_x * scale;
  const int height = text_size.y + 2 * margin_y * scale;
  int left = pointer.x;
  int top = pointer.y + from_pointer * scale;
  // Without room below it stands above, so that it never lies under the pointer.
  if (top + height + from_edge * scale > window.y) top = pointer.y - height - margin_y * scale;
  left = std::max(std::min(left, window.x - width - from_edge * scale), from_edge * scale);
  top = std::max(top, 0);
  return {left, top, left + width, top + height};
}

void draw_tip(painter& on, const std::string& text, math::point pointer) {
  const math::point window{on.target().width, on.target().height};
  const int widest = std::min(on.px(widest_text), window.x - on.px(2 * (margin_x + from_edge)));
  text_place place;
  place.max_width = std::max(widest, 1);
  place.line_gap = on.px(line_gap);
  math::point size = on.measure(text, "tooltip", place.max_width);
  const math::point line = on.measure("x", "tooltip", 0, 1);
  if (line.y > 0) size.y += (size.y / line.y - 1) * place.line_gap;
  const rectangle box = tip_box(size, pointer, window, on.scale());
  place.position = {box.left + on.px(margin_x), box.top + on.px(margin_y)};
  on.round_fill(box, on.px(palette::button_radius), palette::tip);
  on.round_frame(box, on.px(palette::button_radius), palette::tip_rim);
  on.text(text, "tooltip", palette::value, place);
}

}  // namespace ui
