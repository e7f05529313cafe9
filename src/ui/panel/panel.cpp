#include "ui/panel/panel.h"

#include <algorithm>
#include <cmath>

#include "lib/format.h"
#include "ui/panel/lookup_actions.h"
#include "ui/screen.h"
#include "ui/toolkit/palette.h"

namespace ui {
namespace {

// At scale 1.
constexpr int title_height = 22;
constexpr int head_height = title_height + 20;  // with the line that names the layer
constexpr int foot_height = 20;
constexpr int empty_height = 44;  // of a tab that has nothing for the selected layers
constexpr int from_edge = 12;     // of the window
constexpr int least_height = head_height + foot_height + 5 * panel::row_height;
constexpr int snap_distance = 8;
constexpr int wheel_distance = panel::row_height;
constexpr int bar_width = 3;
constexpr int dot_size = 4;
constexpr int dot_pitch = 10;
constexpr int hide_entry = 100;

constexpr int brush_tab = 3;
constexpr int text_tab = 4;

// The room that the panel may lie in: above the timeline and the information bar where it has enough there, else all of
// the window.
rectangle room_in(const ksn::window_layout& layout, const ksn::state& composition) {
  const int s = layout.scale;
  int above = layout.split;
  if (composition.workspace.shown_infobar()) above -= infobar_height * s * (composition.view.is_neutral() ? 1 : 2);
  const int bottom = above >= (least_height + 2 * from_edge) * s ? above : layout.size.y;
  return {from_edge * s, from_edge * s, layout.size.x - from_edge * s, bottom - from_edge * s};
}

// Of a length that is left of the room, in 0 to 1.
int offset_of(double fraction, int left) {
  return left > 0 ? static_cast<int>(std::lround(std::clamp(fraction, 0.0, 1.0) * left)) : 0;
}

}  // namespace

// Moves the panel. Near an edge it takes the edge, so that it stays there when the window changes.
class property_panel::move_drag : public drag_handler {
 public:
  explicit move_drag(property_panel& panel)
      : panel_(panel), before_(panel.bench_.composition.workspace.property_panel_position()) {}
  void begin(math::point point) override {
    from_ = point;
    box_ = panel_.frame_in(panel_.place_).box;
  }
  void move(math::point point) override {
    const ksn::window_layout layout = panel_.bench_.layout();
    const rectangle room = room_in(layout, panel_.bench_.composition);
    const int snap = snap_distance * layout.scale;
    math::pointd& position = panel_.bench_.composition.workspace.property_panel_position();
    position.x = fraction(box_.left + point.x - from_.x - room.left, room.right - room.left - (box_.right - box_.left),
                          snap, position.x);
    position.y = fraction(box_.top + point.y - from_.y - room.top, room.bottom - room.top - (box_.bottom - box_.top),
                          snap, position.y);
  }
  void end(math::point) override {}
  void cancel() override { panel_.bench_.composition.workspace.property_panel_position() = before_; }
  cursor_shape get_cursor(math::point) override { return cursor_shape::move; }

 private:
  property_panel& panel_;
  math::pointd before_;
  math::point from_;
  rectangle box_;

  static double fraction(int offset, int left, int snap, double now) {
    if (left <= 0) return now;
    if (offset < snap) return 0;
    if (offset > left - snap) return 1;
    return static_cast<double>(offset) / left;
  }
};

property_panel::property_panel(workbench& bench) : bench_(bench), changes_(bench) {
  const auto step = [this](int direction) {
    return [this, direction] { bench_.run(direction > 0 ? "pp_next_tab" : "pp_prev_tab"); };
  };
  next_ =
      std::make_shared<ui_np_button>(bench.host, math::point{panel::panel_width - 14, title_height / 2}, true, step(1));
  previous_ = std::make_shared<ui_np_button>(bench.host, math::point{14, title_height / 2}, false, step(-1));
  bench.engine.add({.group = command::action_group::window,
                    .name = "layer_properties",
                    .help = "open the property panel where it fits the selected layer, or close it",
                    .execute = [this] { open_for_selection(); },
                    .checked = [this] { return is_shown(); }});
  panel::add_lookup_actions(bench, changes_);
}

// Most runs show no page, few show all.
panel::page& property_panel::open_page() {
  const auto index = static_cast<std::size_t>(tab());
  if (!pages_[index]) {
    pages_[index] = std::make_unique<panel::page>(
        bench_, changes_, panel::tabs()[index], [this](int top, int bottom) { make_visible(top, bottom); },
        [this](int steps) { scroll_to(scroll_[static_cast<std::size_t>(tab())] - steps * wheel_distance); });
  }
  return *pages_[index];
}

int property_panel::tab() const {
  return std::clamp(bench_.composition.workspace.pp_tab, 0, static_cast<int>(pages_.size()) - 1);
}

void property_panel::open_for_selection() {
  ksn::workspace& workspace = bench_.composition.workspace;
  bool& shown = workspace.shown_property_panel();
  shown = !shown;
  const ksn::document& document = bench_.composition.doc;
  if (!shown || document.selection.empty()) return;
  const ksn::source_type type = document.track_at(*document.selection.begin()).source.type;
  if (type == ksn::source_type::brush || type == ksn::source_type::brush_sequence) workspace.pp_tab = brush_tab;
  if (type == ksn::source_type::text) workspace.pp_tab = text_tab;
}

int property_panel::content_height() {
  return open_page().fits() ? open_page().height() : empty_height;
}

property_panel::frame property_panel::frame_in(const place& at) {
  const ksn::window_layout layout = bench_.layout();
  const rectangle room = room_in(layout, bench_.composition);
  const int s = at.scale;
  const int width = panel::panel_width * s;
  const int wanted = (head_height + content_height() + foot_height) * s;
  const int height = std::max(std::min(wanted, room.bottom - room.top), (head_height + foot_height) * s);
  const math::pointd& position = layout_position();
  const int left = room.left + offset_of(position.x, room.right - room.left - width);
  const int top = room.top + offset_of(position.y, room.bottom - room.top - height);
  const rectangle box{left, top, left + width, top + height};
  return {box, {box.left, box.top + head_height * s, box.right, box.bottom - foot_height * s}};
}

const math::pointd& property_panel::layout_position() const {
  return bench_.composition.workspace.property_panel_position();
}

place property_panel::page_place(const place& at) {
  const frame now = frame_in(at);
  const int hidden = std::max(content_height() * at.scale - (now.view.bottom - now.view.top), 0);
  const int scrolled = std::min(scroll_[static_cast<std::size_t>(tab())] * at.scale, hidden);
  return {{now.view.left, now.view.top - scrolled}, at.size, at.scale};
}

void property_panel::scroll_to(int first) {
  const frame now = frame_in(place_);
  const int hidden = content_height() - (now.view.bottom - now.view.top) / place_.scale;
  scroll_[static_cast<std::size_t>(tab())] = std::clamp(first, 0, std::max(hidden, 0));
}

void property_panel::make_visible(int top, int bottom) {
  const frame now = frame_in(place_);
  const int visible = (now.view.bottom - now.view.top) / place_.scale;
  const int first = scroll_[static_cast<std::size_t>(tab())];
  if (bottom > first + visible) scroll_to(bottom - visible);
  if (top < first) scroll_to(top);
}

bool property_panel::is_title(math::point point) {
  const rectangle box = frame_in(place_).box;
  return point.y < box.top + title_height * place_.scale;
}

int property_panel::dot_at(math::point point) {
  const frame now = frame_in(place_);
  const int s = place_.scale;
  if (point.y < now.view.bottom) return -1;
  const int count = static_cast<int>(pages_.size());
  const int left = (now.box.left + now.box.right - count * dot_pitch * s) / 2;
  const int index = point.x < left ? -1 : (point.x - left) / (dot_pitch * s);
  return index < count ? index : -1;
}

mouse_handler* property_panel::hit_test(math::point point, const place& at) {
  place_ = at;
  const frame now = frame_in(at);
  if (!holds(now.box, point)) return nullptr;
  const place corner{{now.box.left, now.box.top}, at.size, at.scale};
  for (ui_object* button : {static_cast<ui_object*>(next_.get()), static_cast<ui_object*>(previous_.get())}) {
    if (mouse_handler* found = button->hit_test(point, corner)) return found;
  }
  if (holds(now.view, point) && open_page().fits()) {
    if (mouse_handler* found = open_page().hit_test(point, page_place(at))) return found;
  }
  return this;
}

press_result property_panel::mouse_down(mouse_button button, math::point point, bool) {
  return button == mouse_button::left && dot_at(point) < 0 ? press_result::drag_after_movement : press_result::click;
}

std::shared_ptr<drag_handler> property_panel::get_drag_handler(mouse_button, math::point) {
  return std::make_shared<move_drag>(*this);
}

void property_panel::mouse_up(mouse_button button, math::point point, bool) {
  if (button == mouse_button::right) return choose_tab(point);
  if (button != mouse_button::left) return;
  if (const int dot = dot_at(point); dot >= 0) {
    bench_.composition.workspace.pp_tab = dot;
  } else if (is_title(point)) {
    choose_tab(point);
  }
}

void property_panel::choose_tab(math::point at) {
  std::vector<platform::menu_entry> entries;
  int id = 0;
  for (const panel::tab& one : panel::tabs()) {
    platform::menu_entry& entry = entries.emplace_back();
    entry.text = bench_.text(one.title);
    entry.checkable = true;
    entry.checked = id == tab();
    entry.id = id++;
  }
  entries.emplace_back();
  entries.emplace_back().text = bench_.text("panel.mi_hide_panel");
  entries.back().key_text = bench_.keys.key_text_of_action("toggle_property_panel");
  entries.back().id = hide_entry;
  const int chosen = bench_.host.popup_menu(entries, at);
  if (chosen == hide_entry) {
    bench_.composition.workspace.shown_property_panel() = false;
  } else if (chosen >= 0 && chosen < static_cast<int>(pages_.size())) {
    bench_.composition.workspace.pp_tab = chosen;
  }
  bench_.input.ask_redraw();
}

void property_panel::wheel(int axis, int steps, math::point) {
  if (axis == 0) scroll_to(scroll_[static_cast<std::size_t>(tab())] - steps * wheel_distance);
}

cursor_shape property_panel::get_cursor(math::point point) {
  return dot_at(point) >= 0 ? cursor_shape::hand : cursor_shape::arrow;
}

bool property_panel::moved(math::point point) {
  return dot_at(point) != drawn_dot_;
}

std::string property_panel::get_tool_tip(math::point point) {
  if (const int dot = dot_at(point); dot >= 0) return bench_.text(panel::tabs()[static_cast<std::size_t>(dot)].title);
  if (is_title(point)) return bench_.text("panel.tab_hint");
  const rectangle box = frame_in(place_).box;
  return point.y < box.top + head_height * place_.scale ? bench_.text("panel.layer_hint") : std::string();
}

std::string property_panel::layer_line() const {
  const ksn::document& document = bench_.composition.doc;
  if (const ksn::track_info* track = document.selected_track()) return track->name;
  const std::size_t count = document.selection.size();
  return count == 0 ? std::string() : lib::format(bench_.text("panel.layers"), static_cast<int>(count));
}

void property_panel::draw_bar(painter& on, const frame& now) {
  const int height = now.view.bottom - now.view.top;
  const int content = on.px(content_height());
  if (content <= height || height <= 0) return;
  const int hidden = now.view.top - page_place(place_).origin.y;
  const int top = now.view.top + static_cast<int>(static_cast<long long>(height) * hidden / content);
  const int length = std::max(static_cast<int>(static_cast<long long>(height) * height / content), on.px(12));
  on.round_fill(
      {now.box.right - on.px(bar_width + 2), top, now.box.right - on.px(2), std::min(top + length, now.view.bottom)},
      on.px(1), palette::gray(84));
}

void property_panel::draw(painter& on, const place& at) {
  place_ = at;
  const frame now = frame_in(at);
  const rectangle& box = now.box;
  const int radius = on.px(palette::panel_radius);
  on.round_fill(box, radius, palette::panel);
  on.art("panel_title", {box.left, box.top});
  on.round_frame(box, radius, palette::gray(74));
  const place corner{{box.left, box.top}, at.size, at.scale};
  on.line(bench_.text(panel::tabs()[static_cast<std::size_t>(tab())].title), "about.bold", palette::value,
          {box.left, box.top, box.right, box.top + on.px(title_height)}, painter::align::centre);
  next_->draw(on, corner);
  previous_->draw(on, corner);
  on.line(layer_line(), "small", palette::quiet,
          {box.left, box.top + on.px(title_height), box.right - on.px(12), now.view.top}, painter::align::left,
          on.px(12));

  const rectangle before = on.set_clip(math::intersect(on.clip(), now.view));
  if (open_page().fits()) {
    open_page().draw(on, page_place(at));
  } else {
    on.line(bench_.text("panel.default"), "panel.default", palette::quiet,
            {box.left + on.px(12), now.view.top, box.right - on.px(12), now.view.bottom}, painter::align::centre);
  }
  on.set_clip(before);
  draw_bar(on, now);

  drawn_dot_ = on.is_hot(this) ? dot_at(bench_.input.pointer()) : -1;
  const int count = static_cast<int>(pages_.size());
  const int first = (box.left + box.right - on.px(count * dot_pitch)) / 2 + on.px((dot_pitch - dot_size) / 2);
  const int top = (now.view.bottom + box.bottom - on.px(dot_size)) / 2;
  for (int i = 0; i < count; ++i) {
    const int left = first + on.px(i * dot_pitch);
    const lib::color color = i == tab() ? palette::live : i == drawn_dot_ ? palette::value : palette::faint;
    on.round_fill({left, top, left + on.px(dot_size), top + on.px(dot_size)}, on.px(dot_size / 2), color);
  }
}

std::shared_ptr<property_panel> make_property_panel(workbench& bench) {
  return std::make_shared<property_panel>(bench);
}

}  // namespace ui
