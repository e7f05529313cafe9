#include "ui/lists/list_panel.h"

#include <algorithm>

#include "lib/paths.h"
#include "ui/toolkit/palette.h"

namespace ui {
namespace {

// At scale 1.
constexpr int widest = 620;
constexpr int highest = 560;
constexpr int from_edge = 20;
constexpr int margin = 12;
constexpr int head_height = 36;
constexpr int foot_height = 26;
constexpr int row_height = 20;
constexpr int search_width = 200;
constexpr int bar_width = 4;

constexpr int key_page_up = 33;
constexpr int key_page_down = 34;
constexpr int key_end = 35;
constexpr int key_home = 36;
constexpr int key_up = 38;
constexpr int key_down = 40;

constexpr std::size_t most_search = 60;

}  // namespace

list_panel::list_panel(workbench& bench) : bench_(bench), search_({}, most_search, false) {}

void list_panel::open() {
  search_.start("", false);
  first_ = chosen_ = 0;
  place_ = {{}, bench_.layout().size, bench_.layout().scale};
  const int count = static_cast<int>(found().size());
  if (starts_at_end()) scroll_to(count, count);
  bench_.input.take_focus({shared_from_this(), this});
}

std::string list_panel::lowered_search() const {
  return lib::to_lower(search_.text());
}

rectangle list_panel::panel() const {
  const int s = place_.scale;
  const int width = std::min(widest * s, place_.size.x - 2 * from_edge * s);
  const int height = std::min(highest * s, place_.size.y - 2 * from_edge * s);
  const int left = (place_.size.x - width) / 2;
  const int top = (place_.size.y - height) / 2;
  return {left, top, left + std::max(width, 0), top + std::max(height, 0)};
}

rectangle list_panel::list() const {
  const int s = place_.scale;
  const rectangle box = panel();
  return {box.left + margin * s, box.top + head_height * s, box.right - margin * s, box.bottom - foot_height * s};
}

int list_panel::visible_rows() const {
  const rectangle box = list();
  return std::max((box.bottom - box.top) / (row_height * place_.scale), 1);
}

int list_panel::row_at(math::point point) const {
  const rectangle box = list();
  return holds(box, point) ? first_ + (point.y - box.top) / (row_height * place_.scale) : -1;
}

void list_panel::scroll_to(int first, int count) {
  first_ = std::clamp(first, 0, std::max(count - visible_rows(), 0));
}

// As an arrow key does: the chosen row, which stays in sight, or the whole list.
void list_panel::go_to(int row, int count) {
  if (!has_choice()) return scroll_to(row, count);
  chosen_ = std::clamp(row, 0, std::max(count - 1, 0));
  scroll_to(std::clamp(first_, chosen_ - visible_rows() + 1, chosen_), count);
}

mouse_handler* list_panel::hit_test(math::point point, const place& at) {
  place_ = at;
  return is_open() && holds(panel(), point) ? this : nullptr;
}

mouse_handler* list_panel::handler_at(math::point point) {
  return holds(panel(), point) ? this : nullptr;
}

void list_panel::mouse_up(mouse_button button, math::point point, bool) {
  const std::vector<list_row> all = found();
  const int row = row_at(point);
  if (button == mouse_button::left && row >= 0 && row < static_cast<int>(all.size())) {
    row_clicked(all[static_cast<std::size_t>(row)]);
  }
}

void list_panel::wheel(int axis, int steps, math::point) {
  if (axis == 0) scroll_to(first_ - steps, static_cast<int>(found().size()));
}

void list_panel::key_char(char16_t character) {
  if (!is_searchable()) return;
  search_.type(character);
  first_ = chosen_ = 0;
}

void list_panel::commit() {
  const std::vector<list_row> all = found();
  if (has_choice() && chosen_ < static_cast<int>(all.size())) row_clicked(all[static_cast<std::size_t>(chosen_)]);
}

bool list_panel::key(int code) {
  const int count = static_cast<int>(found().size());
  const int before = first_;
  const int chosen = chosen_;
  const int at = has_choice() ? chosen_ : first_;
  switch (code) {
    case key_up:
      go_to(at - 1, count);
      break;
    case key_down:
      go_to(at + 1, count);
      break;
    case key_page_up:
      go_to(at - visible_rows(), count);
      break;
    case key_page_down:
      go_to(at + visible_rows(), count);
      break;
    case key_home:
      go_to(0, count);
      break;
    case key_end:
      go_to(count, count);
      break;
    case 'C' | platform::key_ctrl:
      copied();
      return true;
    default:
      return is_searchable() && search_.key(code);
  }
  return first_ != before || chosen_ != chosen;
}

void list_panel::draw(painter& on, const place& at) {
  place_ = at;
  const std::vector<list_row> all = found();
  scroll_to(first_, static_cast<int>(all.size()));
  const rectangle box = panel();
  const int radius = on.px(palette::panel_radius);
  on.fill({0, 0, at.size.x, at.size.y}, palette::gray(0, 90));
  on.round_fill(box, radius, palette::panel);
  on.round_frame(box, radius, palette::gray(74));
  const rectangle before = on.set_clip(math::intersect(on.clip(), box));
  const rectangle head{box.left, box.top, box.right, box.top + on.px(head_height)};
  on.line(title(), "about.bold", palette::value, head, painter::align::left, on.px(margin + 4));
  if (is_searchable()) {
    const rectangle field{head.right - on.px(margin + search_width), head.top + on.px(8), head.right - on.px(margin),
                          head.bottom - on.px(6)};
    on.round_fill(field, on.px(palette::field_radius), palette::field);
    on.round_frame(field, on.px(palette::field_radius), palette::live);
    if (search_.text().empty()) {
      on.line(bench_.text("list_search"), "small", palette::quiet, field, painter::align::left, on.px(8));
    }
    search_.draw(on, field, "small", on.px(5));
  }
  const rectangle rows = list();
  on.fill({box.left + on.px(1), rows.top - on.px(1), box.right - on.px(1), rows.top}, palette::row_rule);
  const math::point pointer = bench_.input.pointer();
  drawn_hover_ = on.is_hot(this) ? row_at(pointer) : -1;
  const int shown = visible_rows();
  for (int i = 0; i < shown && first_ + i < static_cast<int>(all.size()); ++i) {
    const list_row& row = all[static_cast<std::size_t>(first_ + i)];
    const int top = rows.top + i * on.px(row_height);
    const rectangle line{rows.left, top, rows.right, top + on.px(row_height)};
    if (row.is_heading) {
      on.line(row.left, "small", palette::quiet, line, painter::align::left, on.px(4));
      continue;
    }
    const bool lit = first_ + i == drawn_hover_ || (has_choice() && first_ + i == chosen_);
    if (lit) on.round_fill(line, on.px(palette::field_radius), palette::gray(52));
    const int middle = line.left + on.px(left_width());
    on.line(row.left, "small", palette::value, {line.left, line.top, middle, line.bottom}, painter::align::left,
            on.px(4));
    on.line(row.right, "small", palette::text, {middle, line.top, line.right - on.px(bar_width + 4), line.bottom});
  }
  if (all.empty())
    on.line(bench_.text("list_nothing"), "small", palette::quiet,
            {rows.left, rows.top, rows.right, rows.top + on.px(row_height)}, painter::align::left, on.px(4));
  if (static_cast<int>(all.size()) > shown) {
    const int height = rows.bottom - rows.top;
    const int count = static_cast<int>(all.size());
    const int top = rows.top + height * first_ / count;
    const int length = std::max(height * shown / count, on.px(12));
    on.round_fill({rows.right - on.px(bar_width), top, rows.right, std::min(top + length, rows.bottom)}, on.px(2),
                  palette::gray(84));
  }
  on.line(note(), "small", palette::quiet, {box.left, rows.bottom, box.right, box.bottom}, painter::align::left,
          on.px(margin + 4));
  on.set_clip(before);
}

}  // namespace ui
