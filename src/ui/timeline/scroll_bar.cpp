#include "ui/timeline/scroll_bar.h"

#include <cmath>

#include "ui/toolkit/painter.h"
#include "ui/toolkit/palette.h"

namespace ui {
namespace {

constexpr int shortest_thumb = 10;  // at scale 1

}  // namespace

int scroll_bar::thumb_height() const {
  const int part = static_cast<int>(static_cast<long long>(trough()) * rows.rows / std::max(rows.count, 1));
  return std::clamp(part, std::min(shortest_thumb * scale, trough()), std::max(trough(), 0));
}

int scroll_bar::thumb_top() const {
  const int way = trough() - thumb_height();
  return top + arrow() + static_cast<int>(static_cast<long long>(way) * rows.first / std::max(rows.largest_first(), 1));
}

int scroll_bar::rows_of(int pixels) const {
  const int way = std::max(trough() - thumb_height(), 1);
  return static_cast<int>(std::rint(static_cast<double>(pixels) * rows.largest_first() / way));
}

scroll_part scroll_bar::part_at(int y) const {
  if (y < top + arrow()) return scroll_part::up;
  if (y >= top + height - arrow()) return scroll_part::down;
  if (y < thumb_top()) return scroll_part::before;
  return y < thumb_top() + thumb_height() ? scroll_part::thumb : scroll_part::after;
}

void draw_scroll_bar(painter& on, const scroll_bar& bar, bool active) {
  const int left = bar.right - on.px(scroll_bar_width);
  const int middle = left + on.px(scroll_bar_width) / 2;
  on.fill({left, bar.top, bar.right, bar.top + bar.height}, palette::row_rule);
  on.art("scroll_up", {middle, bar.top + bar.arrow() / 2});
  on.art("scroll_down", {middle, bar.top + bar.height - 1 - bar.arrow() / 2});
  if (bar.trough() <= 0) return;
  on.round_fill({left + on.px(3), bar.thumb_top(), bar.right - on.px(3), bar.thumb_top() + bar.thumb_height()},
                on.px(3), active ? palette::text : palette::tick);
}

}  // namespace ui
