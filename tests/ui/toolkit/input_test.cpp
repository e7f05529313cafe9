// The events of a window: rows of events and of the calls that must follow.
#include "ui/toolkit/input.h"

#include <gtest/gtest.h>

#include <sstream>

#include "ui/toolkit/tip.h"

namespace {

using ui::mouse_button;

std::string at(math::point point) {
  return " " + std::to_string(point.x) + "," + std::to_string(point.y);
}

// The left half of the window is handler "a", the right half "b", from 200 on there is nothing.
class recorder {
 public:
  struct handler : ui::mouse_handler {
    recorder& to;
    std::string name;
    ui::press_result answer = ui::press_result::click;
    bool drags = true;
    int step = 120;
    handler(recorder& recorder, std::string text) : to(recorder), name(std::move(text)) {}
    ui::press_result mouse_down(mouse_button button, math::point point, bool twice) override {
      to.note(name + (twice ? ".double" : ".down") + std::to_string(static_cast<int>(button)) + at(point));
      return answer;
    }
    std::shared_ptr<ui::drag_handler> get_drag_handler(mouse_button, math::point) override {
      return drags ? std::make_shared<drag>(to) : nullptr;
    }
    void mouse_up(mouse_button, math::point point, bool) override {
      to.note(name + ".click" + at(point));
      if (to.clicked) to.clicked();
    }
    int wheel_step(int) override { return step; }
    void wheel(int axis, int steps, math::point) override {
      to.note(name + ".wheel" + std::to_string(axis) + " " + std::to_string(steps));
    }
    std::string get_tool_tip(math::point) override { return "tip of " + name; }
  };
  struct drag : ui::drag_handler {
    recorder& to;
    explicit drag(recorder& recorder) : to(recorder) {}
    void begin(math::point point) override { to.note("begin" + at(point)); }
    void move(math::point point) override { to.note("move" + at(point)); }
    void end(math::point point) override { to.note("end" + at(point)); }
    void cancel() override { to.note("cancel"); }
  };
  struct field : ui::ui_focus_handler {
    recorder& to;
    explicit field(recorder& recorder) : to(recorder) {}
    void begin() override { to.note("focus"); }
    void key_char(char16_t c) override { to.note("char " + std::to_string(static_cast<int>(c))); }
    bool key(int code) override {
      to.note("key " + std::to_string(code));
      return true;
    }
    void commit() override { to.note("commit"); }
    void cancel() override { to.note("dropped"); }
  };

  handler a{*this, "a"};
  handler b{*this, "b"};
  std::function<void()> clicked;
  std::string calls;
  ui::input input{{[this](math::point p) -> ui::mouse_handler* { return p.x < 100   ? &a
                                                                        : p.x < 200 ? &b
                                                                                    : nullptr; },
                   [](ui::cursor_shape) {},
                   [this](int code) {
                     note("run " + std::to_string(code));
                     return true;
                   }}};

  void note(const std::string& call) { calls += (calls.empty() ? "" : "; ") + call; }

  // Carries events out: a word, then its numbers; a semicolon between two.
  ui::redraw play(const std::string& events) {
    ui::redraw last;
    std::istringstream list(events);
    for (std::string event; std::getline(list, event, ';');) {
      std::istringstream words(event);
      std::string word;
      int x = 0;
      int y = 0;
      words >> word >> x >> y;
      using enum mouse_button;
      const math::point point{x, y};
      if (word == "down") last = input.mouse_down(left, point, false, 0);
      if (word == "double") last = input.mouse_down(left, point, true, 0);
      if (word == "down_right") last = input.mouse_down(right, point, false, 0);
      if (word == "up") last = input.mouse_up(left, point, 0);
      if (word == "up_right") last = input.mouse_up(right, point, 0);
      if (word == "move") last = input.mouse_move(point, 0);
      if (word == "wheel_a") last = input.mouse_wheel({10, 10}, x, y, 0);
      if (word == "wheel_b") last = input.mouse_wheel({150, 10}, x, y, 0);
      if (word == "lost") last = input.cancel_drag();
      if (word == "key") last = input.key_down(x);
      if (word == "text") last = input.text("h\u00e4");
      if (word == "focus") input.take_focus(std::make_shared<field>(*this));
      if (word == "blur") last = input.focus_lost();
      if (word == "leave") last = input.mouse_leave();
      if (word == "pass") last = input.pass(x, true);
      if (word == "behind") last = input.pass(x, false);
    }
    return last;
  }
};

TEST(input, calls_what_the_events_mean) {
  using enum ui::press_result;
  struct row {
    const char* what;
    ui::press_result answer;  // of both handlers
    const char* events;
    const char* calls;
  };
  const row rows[] = {
      {"a click is the press", click, "down 10 10; up 12 12", "a.down1 10,10; a.click 10,10"},
      {"nothing under the pointer", drag, "down 250 10; move 300 10; up 300 10", ""},
      {"a drag at once", drag, "down 10 10; move 11 10; up 12 10",
       "a.down1 10,10; begin 10,10; move 11,10; move 12,10; end 12,10"},
      {"it goes on over others", drag, "down 10 10; move 150 10; up 250 10",
       "a.down1 10,10; begin 10,10; move 150,10; move 250,10; end 250,10"},
      {"4 pixels are a click, where the press was", drag_after_movement, "down 10 10; move 14 14; up 14 6",
       "a.down1 10,10; a.click 10,10"},
      {"5 pixels are a drag", drag_after_movement, "down 10 10; move 10 15; up 10 15",
       "a.down1 10,10; begin 10,10; move 10,15; move 10,15; end 10,15"},
      {"to the left too", drag_after_movement, "down 10 10; move 5 10; up 5 10",
       "a.down1 10,10; begin 10,10; move 5,10; move 5,10; end 5,10"},
      {"a double click never drags", drag_after_movement, "down 10 10; up 10 10; double 10 10; move 30 10; up 30 10",
       "a.down1 10,10; a.click 10,10; a.double1 10,10; a.click 10,10"},
      {"another button during a drag", drag, "down 10 10; down_right 20 10; up_right 20 10; up 12 10",
       "a.down1 10,10; begin 10,10; move 12,10; end 12,10"},
      {"another button in place of a click", drag_after_movement, "down 10 10; up_right 10 10; up 11 10",
       "a.down1 10,10; a.click 10,10"},
      {"every pass moves", drag, "down 10 10; pass 40; pass 40", "a.down1 10,10; begin 10,10; move 10,10; move 10,10"},
      {"Escape takes back, keys are swallowed", drag, "down 10 10; key 65; key 27; up 10 10; key 65",
       "a.down1 10,10; begin 10,10; cancel; run 65"},
      {"a lost pointer, once", drag, "down 10 10; lost; lost; blur; up 10 10", "a.down1 10,10; begin 10,10; cancel"},
      {"lost before it dragged", drag_after_movement, "down 10 10; lost; move 40 10; up 40 10", "a.down1 10,10"},
      {"lost with nothing down", click, "lost", ""},
      {"wheel in parts", click, "wheel_a 40; wheel_a 40; wheel_a 40", "a.wheel0 1"},
      {"wheel back", click, "wheel_a -250; wheel_a 10", "a.wheel0 -2"},
      {"the rest stays with its handler", click, "wheel_a 80; wheel_b 80; wheel_a 80; wheel_a 40", "a.wheel0 1"},
      {"each axis has its rest", click, "wheel_a 80; wheel_a 80 1; wheel_a 40 1", "a.wheel1 1"},
      {"no wheel during a drag", drag, "down 10 10; wheel_a 240", "a.down1 10,10; begin 10,10"},
      {"a key", click, "key 32", "run 32"},
      {"typing", click, "focus; text; key 8; key 37; key 65613",
       "focus; char 104; char 228; char 8; key 37; key 65613"},
      {"Enter", click, "focus; key 13; text; key 13", "focus; commit; run 13"},
      {"Escape", click, "focus; key 27; key 27", "focus; dropped; run 27"},
      {"a click elsewhere goes no further", click, "focus; down 10 10; up 10 10; down 10 10",
       "focus; dropped; a.down1 10,10; a.click 10,10"},
      {"a wheel elsewhere too", click, "focus; wheel_a 120", "focus"},
      {"the window lost the keyboard", click, "focus; blur; blur", "focus; dropped"},
      {"from one field to the next", click, "focus; focus", "focus; dropped; focus"},
  };
  for (const row& r : rows) {
    recorder recorder;
    recorder.a.answer = recorder.b.answer = r.answer;
    recorder.play(r.events);
    EXPECT_EQ(recorder.calls, r.calls) << r.what;
  }
}

TEST(input, a_handler_without_a_drag_and_one_that_opens_something) {
  recorder recorder;
  recorder.a.answer = ui::press_result::drag;
  recorder.a.drags = false;
  recorder.play("down 10 10; move 30 10; up 30 10");
  EXPECT_EQ(recorder.calls, "a.down1 10,10");

  // A dialog from a click takes the pointer and runs passes while the click is not over yet.
  recorder.calls.clear();
  recorder.b.answer = ui::press_result::drag_after_movement;
  recorder.clicked = [&] { recorder.play("blur; behind 40; lost"); };
  recorder.play("down 150 10; up 150 10; up 150 10");
  EXPECT_EQ(recorder.calls, "b.down1 150,10; b.click 150,10");
}

TEST(input, tips_come_after_a_rest) {
  struct row {
    const char* what;
    const char* events;
    const char* tip;
    int within;  // of the last event
  };
  const row rows[] = {
      {"at 600 ms", "move 10 10; pass 600", "", 1},
      {"beyond", "move 10 10; pass 300; pass 301", "tip of a", -1},
      {"4 pixels keep it", "move 10 10; pass 601; move 14 6; pass 40", "tip of a", -1},
      {"5 pixels start over", "move 10 10; pass 601; move 15 10; pass 600", "", 1},
      {"another handler starts over", "move 98 10; pass 601; move 101 10; pass 200", "", 401},
      {"a press hides it for 600 ms", "move 10 10; pass 601; down 10 10; up 10 10; pass 600", "", 1},
      {"and then it comes back", "move 10 10; pass 601; down 10 10; up 10 10; pass 601", "tip of a", -1},
      {"not behind other windows", "move 10 10; pass 601; behind 40", "", 601},
      {"not outside", "move 10 10; pass 601; leave; pass 700", "", -1},
      {"not over nothing", "move 250 10; pass 700; pass 700", "", -1},
      {"not while typing", "move 10 10; focus; pass 700; pass 700", "", -1},
  };
  for (const row& r : rows) {
    recorder recorder;
    const ui::redraw wish = recorder.play(r.events);
    EXPECT_EQ(recorder.input.tip(), r.tip) << r.what;
    EXPECT_EQ(wish.within, r.within) << r.what;
  }
}

TEST(input, draws_only_for_a_reason) {
  struct row {
    const char* before;
    const char* event;
    bool now;
  };
  const row rows[] = {{"", "move 10 10", true},
                      {"move 10 10", "move 11 10", false},
                      {"move 10 10", "pass 40", false},
                      {"move 10 10", "pass 601", true},
                      {"move 10 10; pass 601", "pass 40", false},
                      {"move 10 10; pass 601", "move 12 12", false},
                      {"move 10 10; pass 601", "move 40 12", true},
                      {"move 10 10", "move 110 10", true},
                      {"move 10 10", "leave", true},
                      {"move 250 10", "move 260 10", false},
                      {"move 250 10", "leave", false},
                      {"", "pass 40", false},
                      {"", "down 10 10", true},
                      {"", "wheel_a 40", false},
                      {"", "wheel_a 120", true}};
  for (const row& r : rows) {
    recorder recorder;
    recorder.play(r.before);
    EXPECT_EQ(recorder.play(r.event).now, r.now) << r.before << " / " << r.event;
  }
}

TEST(tip, stays_inside_the_window_and_off_the_pointer) {
  for (const int scale : {1, 2}) {
    for (int x = 0; x < 440; x += 13) {
      for (int y = 0; y < 330; y += 13) {
        const ui::rectangle box = ui::tip_box({100 * scale, 30 * scale}, {x, y}, {440, 330}, scale);
        EXPECT_GE(box.left, 0);
        EXPECT_GE(box.top, 0);
        EXPECT_LE(box.right, 440);
        EXPECT_LE(box.bottom, 330);
        EXPECT_FALSE(x >= box.left && x < box.right && y >= box.top && y < box.bottom) << x << ',' << y;
      }
    }
  }
}

}  // namespace
