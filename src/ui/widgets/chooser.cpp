#include "ui/widgets/chooser.h"

#include <algorithm>

#include "ui/toolkit/palette.h"

namespace ui {
namespace {

constexpr int arrow_room = 16;  // at the right end, at scale 1

}  // namespace

// Two strokes that meet in a point below, drawn by rows of a triangle's sides.
void draw_list_arrow(painter& on, math::point middle, lib::color color) {
  for (int i = 0; i < on.px(3); ++i) {
    const int y = middle.y - on.px(1) + i;
    const int x = on.px(3) - i;
    on.fill({middle.x - x, y, middle.x - x + on.px(1), y + 1}, color);
    on.fill({middle.x + x - on.px(1), y, middle.x + x, y + 1}, color);
  }
}

mouse_handler* ui_basic_chooser::hit_test(math::point point, const place& at) {
  last_ = at;
  return box_.holds(point, at) ? this : nullptr;
}

std::string ui_basic_chooser::shown_text() const {
  const std::vector<std::string> all = texts();
  const int index = current_index();
  return index >= 0 && index < static_cast<int>(all.size()) ? all[static_cast<std::size_t>(index)] : no_value;
}

void ui_basic_chooser::draw(painter& on, const place& at) {
  last_ = at;
  const rectangle box = box_.in(at);
  const bool enabled = is_enabled();
  const bool hot = enabled && on.is_hot(this);
  on.round_fill(box, on.px(palette::field_radius), hot ? palette::hover : palette::gray(52));
  on.round_frame(box, on.px(palette::field_radius), hot ? palette::gray(80) : palette::field_rim);
  rectangle inner = box;
  inner.right -= on.px(arrow_room);
  on.line(shown_text(), "panel.value", enabled ? palette::value : palette::faint, inner, painter::align::left,
          on.px(6));
  draw_list_arrow(on, {box.right - on.px(arrow_room / 2), (box.top + box.bottom) / 2},
                  enabled ? palette::text : palette::faint);
}

void ui_basic_chooser::mouse_up(mouse_button button, math::point, bool) {
  if (button != mouse_button::left || !is_enabled()) return;
  std::vector<platform::menu_entry> entries;
  std::vector<platform::menu_entry> below;
  const std::vector<std::string> all = texts();
  const int count = static_cast<int>(all.size());
  const int now = current_index();
  for (int i = 0; i < count; ++i) {
    platform::menu_entry& entry = (i < count - nested() ? entries : below).emplace_back();
    entry.text = all[static_cast<std::size_t>(i)];
    entry.checkable = true;
    entry.checked = i == now;
    entry.id = i;
    entry.reached = [this, i] { point_at(i); };
  }
  if (!below.empty()) {
    entries.emplace_back();
    entries.emplace_back().text = nested_text();
    entries.back().entries = std::move(below);
  }
  const rectangle box = box_.in(last_);
  const int chosen = host_.popup_menu(entries, {box.left, box.bottom});
  chosen >= 0 && chosen < count ? select(chosen) : leave_list();
  host_.input.ask_redraw();
}

void ui_basic_chooser::wheel(int axis, int steps, math::point) {
  if (axis != 0 || !is_enabled()) return;
  const int last = static_cast<int>(texts().size()) - actions() - 1;
  if (last < 0) return;
  const int now = current_index();
  const int wanted = std::clamp(now - steps, 0, last);
  if (wanted != now) select(wanted);
}

std::string ui_chooser::shown_text() const {
  const int count = parts_.count ? parts_.count() : 1;
  const std::string text = ui_basic_chooser::shown_text();
  return count < 2 ? text : text + " (" + std::to_string(count) + ")";
}

}  // namespace ui
