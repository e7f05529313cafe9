// Fields that are typed into: numbers and text.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "ui/toolkit/painter.h"
#include "ui/widgets/host.h"
#include "ui/widgets/text_editor.h"

namespace ui {

// The surroundings of a field: where Tab and Shift+Tab lead (1 or -1) and what a wheel over it scrolls. Empty: nothing.
struct field_surroundings {
  std::function<void(int direction)> walk;
  std::function<void(int steps)> scroll;
};

// The common part of typing fields: where they stand, the editor, the focus, and a menu to copy and paste.
class typing_field : public ui_object, public mouse_handler, public ui_focus_handler {
 public:
  typing_field(const widget_host& host, widget_box box, text_editor editor)
      : host_(host), box_(box), editor_(std::move(editor)) {}

  void set_surroundings(field_surroundings surroundings) { surroundings_ = std::move(surroundings); }
  bool can_type() const { return is_enabled(); }
  // Takes the focus, with all of the text selected.
  void begin_typing();

  mouse_handler* hit_test(math::point point, const place& at) override;
  void draw(painter& on, const place& at) override;
  press_result mouse_down(mouse_button, math::point, bool) override { return press_result::click; }
  // Begins to type; with the right button while typing, opens the menu.
  void mouse_up(mouse_button button, math::point point, bool double_click) override;
  void wheel(int axis, int steps, math::point point) override;
  cursor_shape get_cursor(math::point) override { return is_enabled() ? cursor_shape::text : cursor_shape::arrow; }

  void key_char(char16_t character) override { editor_.type(character); }
  void composing(std::string_view utf8) override { editor_.compose(utf8); }
  rectangle caret() const override { return caret_; }
  bool key(int code) override;
  // Stores what was typed, unless that is what stood there.
  void commit() override;
  void cancel() override {}
  mouse_handler* handler_at(math::point point) override { return box_.holds(point, last_) ? this : nullptr; }

 protected:
  virtual bool is_enabled() const = 0;
  // The text that is shown, and that typing starts from.
  virtual std::string shown_text() const = 0;
  // Takes what was typed; a text that means nothing is dropped.
  virtual void store(const std::string& text) = 0;
  virtual bool can_reset() const { return false; }  // whether the menu has ui_cm_undo_reset
  virtual const char* font() const { return "panel.value"; }
  virtual painter::align alignment() const { return painter::align::right; }
  virtual int right_margin() const { return 0; }  // free at the right end, at scale 1

  const widget_host& host() const { return host_; }
  text_editor& editor() { return editor_; }
  // Puts a text in the place of what is typed.
  void show_typed(const std::string& text);
  bool is_typing() const { return host_.input.focus().get() == this; }
  rectangle pixels(const place& at) const { return box_.in(at); }
  const place& last_place() const { return last_; }

 private:
  const widget_host& host_;
  widget_box box_;
  text_editor editor_;
  std::string started_with_;
  field_surroundings surroundings_;
  rectangle caret_;
  place last_;

  void open_menu(math::point point);
};

// A number of up to 15 characters. A click types, a drag to the sides changes the value: by `step` for each pixel at
// scale 1, ten times that with Shift, a tenth with Ctrl. While it is typed, the arrows up and down change it likewise.
class ui_edit_field : public typing_field {
 public:
  struct parts {
    std::string format = "%.2f";                 // of a double, as for printf
    std::function<std::optional<double>()> get;  // nothing: no value, or several that differ
    std::function<void(double)> set;
    // Adds to several values that differ, to each the same, counted from the begin of the drag. Empty: they don't drag.
    std::function<void(double by)> shift = {};
    std::function<bool()> enabled = {};  // empty: always
    double step = 0;                     // 0: one of the last digit that the format shows
    std::string hint = "panel.edit_field_hint";
    // Around a drag, and around typing with arrows, for one undo step of all that it changes; both may be empty. `kept`
    // is false after Escape, when the value has been set back.
    std::function<void()> begin_drag = {};
    std::function<void(bool kept)> end_drag = {};
    std::string about = {};                         // what the value is, in front of the hint of its tip
    std::function<void(math::point at)> menu = {};  // of a right click while nothing is typed; may be empty
  };
  ui_edit_field(const widget_host& host, widget_box box, parts parts);

  press_result mouse_down(mouse_button button, math::point point, bool double_click) override;
  std::shared_ptr<drag_handler> get_drag_handler(mouse_button button, math::point point) override;
  void mouse_up(mouse_button button, math::point point, bool double_click) override;
  cursor_shape get_cursor(math::point) override;
  std::string get_tool_tip(math::point) override;
  bool key(int code) override;
  void commit() override;
  void cancel() override;

 protected:
  bool is_enabled() const override { return !parts_.enabled || parts_.enabled(); }
  std::string shown_text() const override;
  void store(const std::string& text) override;
  bool can_reset() const override { return true; }

 private:
  class drag;
  parts parts_;
  double step_;
  // From the first arrow on while it is typed: the value before.
  std::optional<std::optional<double>> stepped_from_;

  void step_by(int direction, int modifiers);
  void end_steps(bool kept);
};

// Text of several lines, where Shift+Enter begins one, or of one.
class ui_text_field : public typing_field {
 public:
  struct parts {
    std::function<std::string()> get;
    std::function<void(const std::string& text)> set;
    std::function<bool()> enabled;  // empty: always
    std::string hint;               // key of its tip, empty for none
    bool one_line = false;
    std::function<void(math::point at)> menu = {};  // of a right click while nothing is typed; may be empty
  };
  ui_text_field(const widget_host& host, widget_box box, parts parts);
  void draw(painter& on, const place& at) override;
  void mouse_up(mouse_button button, math::point point, bool double_click) override;
  std::string get_tool_tip(math::point) override {
    return parts_.hint.empty() ? std::string() : host().text(parts_.hint);
  }

 protected:
  bool is_enabled() const override { return !parts_.enabled || parts_.enabled(); }
  std::string shown_text() const override { return parts_.get(); }
  void store(const std::string& text) override { parts_.set(text); }
  const char* font() const override { return "panel.text"; }
  painter::align alignment() const override { return painter::align::left; }

 private:
  parts parts_;
};

}  // namespace ui
