#include "render/overlays.h"

#include <algorithm>
#include <cstring>

namespace render {
namespace {

void fill_box(img::image& target, const rectangle& box, lib::color color, const rectangle& clip) {
  const rectangle visible = intersect(intersect(box, clip), {0, 0, target.width, target.height});
  if (visible.empty()) return;
  const std::uint8_t samples[3] = {color.b, color.g, color.r};
  for (int p = 0; p < 3; ++p) {
    if (!target.has_plane(p)) continue;
    for (int y = visible.top; y < visible.bottom; ++y) {
      std::memset(target.row(p, y) + visible.left, samples[p], static_cast<std::size_t>(visible.right - visible.left));
    }
  }
}

// A line of `length` pixels from (x, y) in direction dx, dy, one of which is 0 and the other 1 or -1.
void draw_line(img::image& target, int x, int y, int dx, int dy, int length, lib::color color, const rectangle& clip) {
  const int end_x = x + dx * (length - 1);
  const int end_y = y + dy * (length - 1);
  fill_box(target, {std::min(x, end_x), std::min(y, end_y), std::max(x, end_x) + 1, std::max(y, end_y) + 1}, color,
           clip);
}

void draw_cross(img::image& target, int x, int y, int arm, lib::color color, const rectangle& clip) {
  draw_line(target, x - arm / 2, y, 1, 0, arm, color, clip);
  draw_line(target, x, y - arm / 2, 0, 1, arm, color, clip);
}

rectangle centred_part(const rectangle& box, int percent) {
  auto inset = [percent](int size) {
    return (size - static_cast<int>(static_cast<long long>(size) * percent / 100)) / 2;
  };
  const int x = inset(box.right - box.left);
  const int y = inset(box.bottom - box.top);
  return {box.left + x, box.top + y, box.right - x, box.bottom - y};
}

}  // namespace

void draw_outline(img::image& target, const rectangle& box, lib::color color, const rectangle& clip) {
  if (box.empty()) return;
  fill_box(target, {box.left, box.top, box.right, box.top + 1}, color, clip);
  fill_box(target, {box.left, box.bottom - 1, box.right, box.bottom}, color, clip);
  fill_box(target, {box.left, box.top, box.left + 1, box.bottom}, color, clip);
  fill_box(target, {box.right - 1, box.top, box.right, box.bottom}, color, clip);
}

void draw_safe_area(img::image& target, const rectangle& box, lib::color color, const rectangle* crop,
                    const rectangle& clip) {
  if (box.empty()) return;
  const int tick = std::max((box.right - box.left) / 20 + 1, (box.bottom - box.top) / 20 + 1);
  const int cross = std::min(2 * tick + 1, 35);
  const int side_tick = std::min(tick, 6);

  for (const int percent : {80, 90}) {
    const rectangle safe = centred_part(box, percent);
    draw_outline(target, safe, color, clip);
    const int x = (safe.left + safe.right) / 2;
    const int y = (safe.top + safe.bottom) / 2;
    draw_line(target, x, safe.top, 0, 1, side_tick, color, clip);
    draw_line(target, x, safe.bottom - 1, 0, -1, side_tick, color, clip);
    draw_line(target, safe.left, y, 1, 0, side_tick, color, clip);
    draw_line(target, safe.right - 1, y, -1, 0, side_tick, color, clip);
  }
  for (const int x : {box.left, box.right - 1}) {
    for (const int y : {box.top, box.bottom - 1}) {
      draw_line(target, x, y, x == box.left ? 1 : -1, 0, tick, color, clip);
      draw_line(target, x, y, 0, y == box.top ? 1 : -1, tick, color, clip);
    }
  }
  draw_cross(target, (box.left + box.right) / 2, (box.top + box.bottom) / 2, cross, color, clip);
  if (crop) {
    draw_cross(target, (crop->left + crop->right) / 2, (crop->top + crop->bottom) / 2, std::min(tick, 30), color, clip);
  }
}

}  // namespace render
