// The interfaces of things in the window: seen, under the pointer, dragged, typed into. Main thread.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "lib/point.h"
#include "lib/rectangle.h"
#include "platform/desktop.h"

namespace ui {

class painter;
using math::rectangle;  // left, top, right, bottom; the last two are not part of it
using platform::cursor_shape;
using platform::mouse_button;

// Where a thing stands. Numbers of the layout count at scale 1 and are multiplied by `scale`; points that come with
// events are pixels of the client area.
struct place {
  math::point origin;  // of the parent, in pixels of the client area
  math::point size;    // of the client area, in pixels
  int scale = 1;       // 1 or 2

  // A point that lies this far from the origin at scale 1.
  math::point at(int x, int y) const { return {origin.x + x * scale, origin.y + y * scale}; }
  // The same place with its origin there.
  place moved(int x, int y) const { return {at(x, y), size, scale}; }
};

// The answer to a press: what it asks for.
enum class press_result {
  click,               // mouse_up() at once
  drag,                // a drag at once
  drag_after_movement  // a drag when the pointer moves by more than 4 pixels, mouse_up() without that
};

// A gesture with a button held down. Kept alive by a shared pointer until its end has run. All points are pixels of the
// client area.
class drag_handler {
 public:
  virtual ~drag_handler() = default;
  virtual void begin(math::point point) = 0;
  // At every movement, and at every pass of the main loop with the pointer's position.
  virtual void move(math::point point) = 0;
  // The button went up; move() has run with the same point.
  virtual void end(math::point point) = 0;
  // Escape, or the pointer was lost: takes everything back. end() does not follow.
  virtual void cancel() = 0;
  virtual cursor_shape get_cursor(math::point) { return cursor_shape::arrow; }
  // Draws over the finished picture.
  virtual void draw(math::point, painter&) {}
};

// A thing that can lie under the pointer.
class mouse_handler {
 public:
  virtual ~mouse_handler() = default;
  virtual press_result mouse_down(mouse_button button, math::point point, bool double_click) = 0;
  // Empty: this press starts no drag.
  virtual std::shared_ptr<drag_handler> get_drag_handler(mouse_button, math::point) { return {}; }
  // The click. A click that was a press which might have become a drag comes with the point of the press.
  virtual void mouse_up(mouse_button, math::point, bool /*double_click*/) {}
  // How much of the wheel makes one step; a notch is 120. Axis 0 is the usual one, 1 goes sideways.
  virtual int wheel_step(int /*axis*/) { return 120; }
  virtual void wheel(int /*axis*/, int /*steps*/, math::point) {}
  virtual cursor_shape get_cursor(math::point) { return cursor_shape::arrow; }
  // The text of the tip, empty for none.
  virtual std::string get_tool_tip(math::point) { return {}; }
  // The pointer moved over it. True when the picture depends on where the pointer is, beyond being over this or another
  // handler.
  virtual bool moved(math::point) { return false; }
};

// The one control that takes what is typed.
class ui_focus_handler {
 public:
  virtual ~ui_focus_handler() = default;
  virtual void begin() {}
  // One 16-bit unit of typed text; 8 is Backspace.
  virtual void key_char(char16_t character) = 0;
  // Text that an input method is at: shown at the caret in the place of the one before, and part of nothing yet.
  virtual void composing(std::string_view /*utf8*/) {}
  // Where the caret was drawn last, in pixels of the client area.
  virtual rectangle caret() const { return {}; }
  // Any other key but Escape and Enter, as a virtual key with its modifiers: the arrows, Home, End, Delete, keys with
  // Ctrl. True when the picture changes.
  virtual bool key(int /*code*/) { return false; }
  // Enter. The focus is gone already.
  virtual void commit() = 0;
  // Escape, a click elsewhere, or the window lost the keyboard. The focus is gone already.
  virtual void cancel() = 0;
  // The handler under the pointer while the control has the focus; null for all that is outside it, where a click
  // cancels.
  virtual mouse_handler* handler_at(math::point) { return nullptr; }
  // Milliseconds after which the control looks different by itself (a caret), -1 for never.
  virtual int redraw_in() { return -1; }
};

// A thing that is drawn and found by the pointer. Widgets live in shared pointers.
class ui_object : public std::enable_shared_from_this<ui_object> {
 public:
  virtual ~ui_object() = default;
  // The handler that takes the mouse at a point; null for nothing.
  virtual mouse_handler* hit_test(math::point point, const place& at) = 0;
  virtual void draw(painter& on, const place& at) = 0;
};

}  // namespace ui
