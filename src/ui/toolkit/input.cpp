#include "ui/toolkit/input.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "lib/utf.h"
#include "ui/toolkit/tip.h"

namespace ui {
namespace {

constexpr int key_backspace = 8;
constexpr int key_enter = 13;
constexpr int key_escape = 27;

bool further_than(int distance, math::point a, math::point b) {
  return std::abs(a.x - b.x) > distance || std::abs(a.y - b.y) > distance;
}

}  // namespace

input::input(input_parts parts)
    : parts_(std::move(parts)), cancels_focus_([this] {
        if (const auto focus = std::exchange(focus_, nullptr)) focus->cancel();
      }) {}

mouse_handler& input::find(math::point point) {
  if (focus_) {
    mouse_handler* own = focus_->handler_at(point);
    return own ? *own : cancels_focus_;
  }
  mouse_handler* found = parts_.hit_test ? parts_.hit_test(point) : nullptr;
  return found ? *found : nothing_;
}

mouse_handler* input::find_again(const press& press) {
  mouse_handler& handler = find(press.point);
  return &handler == press.handler ? &handler : nullptr;
}

redraw input::result(bool now) {
  redraw wish = std::exchange(asked_, {});
  wish.add({now, -1});
  if (focus_) wish.add({false, focus_->redraw_in()});
  if (!drag_ && inside_ && !tip_is_due() && hot_ != &nothing_) wish.add({false, tip_timer_ + 1});
  return wish;
}

bool input::start_drag(mouse_handler& handler, mouse_button button, math::point point) {
  std::shared_ptr<drag_handler> drag = handler.get_drag_handler(button, point);
  if (!drag) return false;
  drag_ = std::move(drag);
  drag_button_ = button;
  tip_text_.clear();
  const std::shared_ptr<drag_handler> kept = drag_;
  kept->begin(point);
  parts_.set_cursor(kept->get_cursor(point));
  return true;
}

void input::restart_tip() {
  tip_timer_ = tip_delay;
  tip_anchor_ = pointer_;
  tip_text_.clear();
}

bool input::hover(mouse_handler& handler) {
  const bool showed_tip = !tip_text_.empty();
  if (&handler != hot_) {
    hot_ = &handler;
    restart_tip();
    return true;
  }
  if (tip_is_due() && further_than(hover_distance * scale_, pointer_, tip_anchor_)) {
    restart_tip();
    return showed_tip;
  }
  if (!tip_is_due() || drag_) return false;
  std::string text = focus_ ? std::string() : handler.get_tool_tip(pointer_);
  return std::exchange(tip_text_, std::move(text)) != tip_text_;
}

redraw input::mouse_down(mouse_button button, math::point point, bool double_click, int modifiers) {
  pointer_ = point;
  inside_ = true;
  modifiers_ = modifiers;
  if (drag_) return result(false);
  mouse_handler& handler = find(point);
  hot_ = &handler;
  parts_.set_cursor(handler.get_cursor(point));
  tip_anchor_ = point;
  tip_timer_ = std::max(tip_timer_, tip_delay);
  tip_text_.clear();
  switch (handler.mouse_down(button, point, double_click)) {
    case press_result::click:
      handler.mouse_up(button, point, double_click);
      break;
    case press_result::drag:
      start_drag(handler, button, point);
      break;
    case press_result::drag_after_movement:
      pending_.reset();
      if (double_click) {
        handler.mouse_up(button, point, true);
      } else {
        pending_ = {button, point, &handler};
      }
      break;
  }
  return result(true);
}

redraw input::mouse_move(math::point point, int modifiers) {
  const bool moved = point != pointer_ || !inside_;
  pointer_ = point;
  inside_ = true;
  modifiers_ = modifiers;
  if (!drag_ && pending_ && further_than(drag_distance * scale_, point, pending_->point)) {
    const press press = *std::exchange(pending_, std::nullopt);
    if (mouse_handler* handler = find_again(press)) start_drag(*handler, press.button, press.point);
  }
  if (const std::shared_ptr<drag_handler> drag = drag_) {
    drag->move(point);
    parts_.set_cursor(drag->get_cursor(point));
    return result(true);
  }
  mouse_handler& handler = find(point);
  parts_.set_cursor(handler.get_cursor(point));
  const bool changed = hover(handler);
  return result((moved && handler.moved(point)) || changed);
}

redraw input::mouse_up(mouse_button button, math::point point, int modifiers) {
  pointer_ = point;
  modifiers_ = modifiers;
  if (drag_) {
    if (button != drag_button_) return result(false);
    // The end may open a dialog, whose events must not meet a drag that is over.
    const std::shared_ptr<drag_handler> drag = drag_;
    drag->move(point);
    if (drag_ == drag) drag_.reset();
    drag->end(point);
    mouse_handler& handler = find(point);
    parts_.set_cursor(handler.get_cursor(point));
    hover(handler);
    return result(true);
  }
  if (!pending_ || pending_->button != button) return result(false);
  const press press = *std::exchange(pending_, std::nullopt);
  if (mouse_handler* handler = find_again(press)) handler->mouse_up(button, press.point, false);
  return result(true);
}

redraw input::mouse_wheel(math::point point, int delta, int axis, int modifiers) {
  pointer_ = point;
  inside_ = true;
  modifiers_ = modifiers;
  if (drag_ || axis < 0 || axis > 1) return result(false);
  mouse_handler& handler = find(point);
  if (&handler != wheel_handler_) {
    wheel_handler_ = &handler;
    wheel_rest_ = {};
  }
  int& rest = wheel_rest_[static_cast<std::size_t>(axis)];
  const int step = std::max(handler.wheel_step(axis), 1);
  rest += delta;
  const int steps = rest / step;
  if (steps == 0) return result(false);
  rest -= steps * step;
  handler.wheel(axis, steps, point);
  return result(true);
}

redraw input::mouse_leave() {
  if (drag_) return result(false);
  const bool showed = !tip_text_.empty() || (hot_ && hot_ != &nothing_);
  inside_ = false;
  hot_ = nullptr;
  tip_text_.clear();
  return result(showed);
}

redraw input::cancel_drag() {
  pending_.reset();
  const std::shared_ptr<drag_handler> drag = std::exchange(drag_, nullptr);
  if (!drag) return result(false);
  drag->cancel();
  parts_.set_cursor(inside_ ? find(pointer_).get_cursor(pointer_) : cursor_shape::arrow);
  return result(true);
}

redraw input::key_down(int code) {
  const int key = code & 0xFFFF;
  modifiers_ = (modifiers_ & platform::key_caps) | (code & ~0xFFFF);
  if (drag_) return key == key_escape ? cancel_drag() : result(false);
  typed_elsewhere_ = !focus_;
  if (!focus_) return result(parts_.run_key && parts_.run_key(code));
  const std::shared_ptr<ui_focus_handler> focus = focus_;
  if (key == key_escape || code == key_enter) {
    focus_.reset();
    key == key_escape ? focus->cancel() : focus->commit();
  } else if (code == key_backspace) {
    focus->key_char(key_backspace);
  } else {
    return result(focus->key(code));
  }
  return result(true);
}

redraw input::text(std::string_view utf8) {
  // The key that opened a field types nothing into it.
  if (typed_elsewhere_) return result(false);
  bool taken = false;
  for (const char16_t unit : lib::to_utf16(utf8)) {
    const std::shared_ptr<ui_focus_handler> focus = focus_;
    if (!focus || drag_) break;
    focus->key_char(unit);
    taken = true;
  }
  return result(taken);
}

redraw input::composing(std::string_view utf8) {
  const std::shared_ptr<ui_focus_handler> focus = focus_;
  if (!focus || drag_) return result(false);
  focus->composing(utf8);
  return result(true);
}

redraw input::modifiers_changed(int modifiers) {
  const bool changed = std::exchange(modifiers_, modifiers) != modifiers;
  if (!changed) return result(false);
  if (const std::shared_ptr<drag_handler> drag = drag_) {
    drag->move(pointer_);
    return result(true);
  }
  if (!inside_) return result(false);
  mouse_handler& handler = find(pointer_);
  parts_.set_cursor(handler.get_cursor(pointer_));
  const bool now = hover(handler);
  return result(handler.moved(pointer_) || now);
}

redraw input::focus_lost() {
  redraw wish = cancel_drag();
  if (focus_) {
    std::exchange(focus_, nullptr)->cancel();
    wish.now = true;
  }
  return wish;
}

redraw input::pass(int elapsed_milliseconds, bool live) {
  typed_elsewhere_ = false;
  if (const std::shared_ptr<drag_handler> drag = drag_) {
    drag->move(pointer_);
    return result(false);
  }
  if (!live) {
    const bool showed = !tip_text_.empty();
    if (inside_) restart_tip();
    return result(showed);
  }
  if (!inside_) return result(false);
  if (!tip_is_due()) tip_timer_ -= std::max(elapsed_milliseconds, 0);
  return result(hover(find(pointer_)));
}

void input::draw(painter& on) {
  if (const std::shared_ptr<drag_handler> drag = drag_) {
    drag->draw(pointer_, on);
  } else if (!tip_text_.empty()) {
    draw_tip(on, tip_text_, pointer_);
  }
}

std::string input::tip() const {
  return tip_text_;
}

void input::take_focus(std::shared_ptr<ui_focus_handler> handler) {
  const std::shared_ptr<ui_focus_handler> before = std::exchange(focus_, std::move(handler));
  if (before && before != focus_) before->cancel();
  if (focus_) focus_->begin();
  asked_.now = true;
}

void input::drop_focus(const ui_focus_handler* handler) {
  if (focus_.get() == handler) focus_.reset();
}

}  // namespace ui
