// Handlers that do nothing, for places where there is nothing under the pointer.
#pragma once

#include <functional>
#include <utility>

#include "ui/toolkit/interfaces.h"

namespace ui {

// Takes every press and does nothing with it.
class null_mouse_handler : public mouse_handler {
 public:
  press_result mouse_down(mouse_button, math::point, bool) override { return press_result::click; }
};

// Stands for the whole window while a control has the focus: a click anywhere ends the typing and goes no further.
class cancel_focus_mouse_handler : public null_mouse_handler {
 public:
  explicit cancel_focus_mouse_handler(std::function<void()> cancel_focus) : cancel_focus_(std::move(cancel_focus)) {}
  void mouse_up(mouse_button, math::point, bool) override { cancel_focus_(); }

 private:
  std::function<void()> cancel_focus_;
};

}  // namespace ui
