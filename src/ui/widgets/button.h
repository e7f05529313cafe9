// Things that are pressed.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "ui/toolkit/painter.h"
#include "ui/widgets/host.h"

namespace ui {

enum class button_state { normal, over, pressed, disabled };

// Acts when the left button goes up over it. The derived class says what it does and what it looks like.
class button : public ui_object, public mouse_handler, public drag_handler {
 public:
  // `position` is relative to the parent, `box` to the position; both count at scale 1.
  button(math::point position, rectangle box) : position_(position), box_(box) {}

  mouse_handler* hit_test(math::point point, const place& at) override;
  using drag_handler::draw;
  void draw(painter& on, const place& at) override;
  press_result mouse_down(mouse_button button, math::point point, bool double_click) override;
  std::shared_ptr<drag_handler> get_drag_handler(mouse_button button, math::point point) override;
  void begin(math::point) override { pressed_ = true; }
  void move(math::point point) override { pressed_ = holds(point); }
  void end(math::point point) override;
  void cancel() override { pressed_ = false; }

  bool pressed() const { return pressed_; }
  void move_to(math::point position) { position_ = position; }

 protected:
  virtual bool is_enabled() const { return true; }
  virtual void act() = 0;
  // `point` is the pixel of the button's position, `box` its rectangle in pixels.
  virtual void paint(painter& on, math::point point, const rectangle& box, button_state state) = 0;

 private:
  math::point position_;
  rectangle box_;
  bool pressed_ = false;
  place last_;  // of the last drawing or hit test

  rectangle pixels(const place& at) const;
  bool holds(math::point point) const;
};

// A button with art: its name alone, or with `_over`, `_pressed` or `_disabled`.
class ui_button : public button {
 public:
  struct parts {
    std::string image;
    std::function<std::string()> tip;
    std::function<bool()> enabled;  // empty: always
    std::function<void()> action;
  };
  ui_button(math::point position, rectangle box, parts parts) : button(position, box), parts_(std::move(parts)) {}
  std::string get_tool_tip(math::point) override { return parts_.tip ? parts_.tip() : std::string(); }

 protected:
  bool is_enabled() const override { return !parts_.enabled || parts_.enabled(); }
  void act() override { parts_.action(); }
  void paint(painter& on, math::point point, const rectangle& box, button_state state) override;

 private:
  parts parts_;
};

// The arrows of 11 by 11 pixels that lead to the next and the previous one of something.
class ui_np_button : public ui_button {
 public:
  ui_np_button(const widget_host& host, math::point position, bool next, std::function<void()> action,
               std::function<bool()> enabled = {});
};

// `base` with "_on" or "_off" and "_over" or "_disabled".
class ui_check_box : public button {
 public:
  struct parts {
    std::string base = "checkbox";
    std::string hint = "panel.checkbox_hint";
    std::function<std::optional<bool>()> get;  // nothing: several that differ, shown by a dash
    std::function<void(bool)> set;
    std::function<bool()> enabled;            // empty: always
    std::function<std::string()> label = {};  // at its right, as far as the box reaches; may be empty
  };
  ui_check_box(const widget_host& host, math::point position, rectangle box, parts parts)
      : button(position, box), host_(host), parts_(std::move(parts)) {}
  std::string get_tool_tip(math::point) override { return host_.text(parts_.hint); }

 protected:
  bool is_enabled() const override { return !parts_.enabled || parts_.enabled(); }
  void act() override { parts_.set(!parts_.get().value_or(false)); }
  void paint(painter& on, math::point point, const rectangle& box, button_state state) override;

 private:
  const widget_host& host_;
  parts parts_;
};

}  // namespace ui
