#include "ui/widgets/button.h"

#include "ui/toolkit/palette.h"

namespace ui {
namespace {

constexpr int label_offset = 11;  // from the middle of a check box, at scale 1

}  // namespace

rectangle button::pixels(const place& at) const {
  const place here = at.moved(position_.x, position_.y);
  const math::point first = here.at(box_.left, box_.top);
  const math::point last = here.at(box_.right, box_.bottom);
  return {first.x, first.y, last.x, last.y};
}

bool button::holds(math::point point) const {
  return math::holds(pixels(last_), point);
}

mouse_handler* button::hit_test(math::point point, const place& at) {
  last_ = at;
  return holds(point) ? this : nullptr;
}

void button::draw(painter& on, const place& at) {
  last_ = at;
  const button_state state = !is_enabled()     ? button_state::disabled
                             : pressed_        ? button_state::pressed
                             : on.is_hot(this) ? button_state::over
                                               : button_state::normal;
  paint(on, at.at(position_.x, position_.y), pixels(at), state);
}

press_result button::mouse_down(mouse_button button, math::point, bool) {
  return button == mouse_button::left && is_enabled() ? press_result::drag : press_result::click;
}

std::shared_ptr<drag_handler> button::get_drag_handler(mouse_button button, math::point) {
  if (button != mouse_button::left) return {};
  return {shared_from_this(), this};
}

void button::end(math::point) {
  if (std::exchange(pressed_, false)) act();
}

void ui_button::paint(painter& on, math::point point, const rectangle&, button_state state) {
  static constexpr const char* suffixes[] = {"", "_over", "_pressed", "_disabled"};
  on.art(parts_.image + suffixes[static_cast<int>(state)], point);
}

ui_np_button::ui_np_button(const widget_host& host, math::point position, bool next, std::function<void()> action,
                           std::function<bool()> enabled)
    : ui_button(position, {-5, -5, 6, 6},
                {next ? "button_panel_next" : "button_panel_previous",
                 [&host, next] { return host.text(next ? "panel.next" : "panel.previous"); }, std::move(enabled),
                 std::move(action)}) {}

void ui_check_box::paint(painter& on, math::point point, const rectangle& box, button_state state) {
  const std::optional<bool> value = parts_.get();
  const bool lit = value.value_or(false) != (state == button_state::pressed);
  std::string name = parts_.base + (lit ? "_on" : "_off");
  if (state == button_state::over || state == button_state::pressed) name += "_over";
  // There is one picture of what can't be changed, on or off.
  if (state == button_state::disabled) name = parts_.base + "_disabled";
  on.art(name, point);
  if (!value) {
    const int half = on.px(1);
    on.fill({point.x - 2 * half - half, point.y - half / 2, point.x + 2 * half, point.y - half / 2 + half},
            palette::value);
  }
  if (!parts_.label) return;
  rectangle beside = box;
  beside.left = point.x + on.px(label_offset);
  on.line(parts_.label(), "panel.label", state == button_state::disabled ? palette::faint : palette::text, beside);
}

}  // namespace ui
