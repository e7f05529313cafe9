// From the events of a window to calls of what is under the pointer, dragged or typed into. Main thread.
#pragma once

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "ui/toolkit/interfaces.h"
#include "ui/toolkit/null_handlers.h"

namespace ui {

// The picture that the window owes after an event or a pass, and when.
struct redraw {
  bool now = false;
  int within = -1;  // milliseconds until something changes by itself, a tip or a caret; -1 for never

  // Both wishes in one.
  void add(const redraw& other) {
    now = now || other.now;
    if (other.within >= 0 && (within < 0 || other.within < within)) within = other.within;
  }
};

struct input_parts {
  std::function<mouse_handler*(math::point)> hit_test;  // of the whole window; null where nothing takes the mouse
  std::function<void(cursor_shape)> set_cursor;
  std::function<bool(int code)> run_key;  // a key that neither a drag nor the focus took; true when something ran
};

constexpr int tip_delay = 600;     // milliseconds
constexpr int hover_distance = 4;  // pixels at scale 1, for a tip
constexpr int drag_distance = 4;   // pixels on either axis that a press may move and still be a click

// The pointer, the gesture and the focus of the window, one of each for a process. Every event returns what it owes to
// the screen. A handler is called only right after it was found under the pointer, so one that is gone is never met.
class input {
 public:
  explicit input(input_parts parts);

  // --- events; points are pixels of the client area ---
  redraw mouse_down(mouse_button button, math::point point, bool double_click, int modifiers);
  redraw mouse_up(mouse_button button, math::point point, int modifiers);
  redraw mouse_move(math::point point, int modifiers);
  redraw mouse_wheel(math::point point, int delta, int axis, int modifiers);
  redraw mouse_leave();
  // The pointer was lost to something else: the drag ends by cancel().
  redraw cancel_drag();
  redraw key_down(int code);
  redraw text(std::string_view utf8);
  redraw composing(std::string_view utf8);
  redraw modifiers_changed(int modifiers);
  // The window lost the keyboard.
  redraw focus_lost();

  // Once in every pass of the main loop, before it draws. `live` says that the window is in front and no menu is open:
  // only then does the pointer mean anything.
  redraw pass(int elapsed_milliseconds, bool live);

  // --- what the picture shows ---
  // The handler under the pointer; null during a drag, outside the window and where nothing is. Only to be compared.
  const mouse_handler* hot() const { return drag_ || !inside_ ? nullptr : hot_; }
  // The last step of the picture: what the drag draws over it, or the tip.
  void draw(painter& on);
  // Requests that areas made while they were drawn.
  redraw after_draw() { return result(false); }
  // The text of the tip that is shown now; empty for none.
  std::string tip() const;

  // --- for handlers ---
  // The control takes what is typed from now on; the one before is cancelled.
  void take_focus(std::shared_ptr<ui_focus_handler> handler);
  // Drops the focus without a word to its handler, if it is that one.
  void drop_focus(const ui_focus_handler* handler);
  const std::shared_ptr<ui_focus_handler>& focus() const { return focus_; }
  // Adds a wish to what the event or pass at hand returns.
  void ask_redraw(redraw wish = {true, -1}) { asked_.add(wish); }
  // platform::key_shift and the others, and key_caps, as of the last event.
  int modifiers() const { return modifiers_; }
  math::point pointer() const { return pointer_; }
  bool pointer_inside() const { return inside_; }
  bool dragging() const { return drag_ != nullptr; }
  // Distances in pixels that a hand keeps are doubled with everything else.
  void set_scale(int scale) { scale_ = scale; }
  // Of the pen, 0 to 1, as of the last event; 1 for a mouse.
  double pressure() const { return pressure_; }
  void set_pressure(double pressure) { pressure_ = pressure; }

 private:
  struct press {
    mouse_button button = mouse_button::none;
    math::point point;
    const mouse_handler* handler = nullptr;  // only to be compared
  };

  input_parts parts_;
  int scale_ = 1;
  double pressure_ = 1;
  int modifiers_ = 0;
  bool inside_ = false;
  math::point pointer_;
  const mouse_handler* hot_ = nullptr;  // only to be compared
  std::shared_ptr<drag_handler> drag_;
  mouse_button drag_button_ = mouse_button::none;
  std::optional<press> pending_;  // may become a drag
  int tip_timer_ = tip_delay;     // milliseconds until the tip shows; below 0 it does
  math::point tip_anchor_;
  std::string tip_text_;
  std::shared_ptr<ui_focus_handler> focus_;
  bool typed_elsewhere_ = false;  // the key whose text may come next was not meant for the focus
  std::array<int, 2> wheel_rest_{};
  const mouse_handler* wheel_handler_ = nullptr;  // only to be compared
  redraw asked_;
  null_mouse_handler nothing_;
  cancel_focus_mouse_handler cancels_focus_;

  mouse_handler& find(math::point point);
  // The handler of a press if it is still there.
  mouse_handler* find_again(const press& press);
  bool start_drag(mouse_handler& handler, mouse_button button, math::point point);
  // Notes what is under the pointer and where the tip stands; true when that changes the picture.
  bool hover(mouse_handler& handler);
  void restart_tip();
  bool tip_is_due() const { return tip_timer_ < 0; }
  redraw result(bool now);
};

}  // namespace ui
