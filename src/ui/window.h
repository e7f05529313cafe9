// The whole client area: its areas in their order, their picture, and what the pointer finds in it.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "img/image.h"
#include "platform/files.h"
#include "render/compositor.h"
#include "ui/area.h"
#include "ui/toolkit/painter.h"

namespace ui {

// What a window is made of. Functions as those of `workbench` and `widget_host`, which get them.
struct window_parts : subjects {
  const drawing_functions& drawing;
  std::function<math::point()> client_size;  // of the window, in pixels
  std::function<void(cursor_shape)> set_cursor = [](cursor_shape) {};
  std::function<bool(int code)> run_key = [](int) { return false; };
  std::function<void(std::string_view menu, math::point at)> context_menu = [](std::string_view, math::point) {};
  std::function<void(const std::string& command)> run = [](const std::string&) {};
  std::function<void()> work_area_changed = [] {};
  std::function<std::vector<std::string>()> recent_sources = [] { return std::vector<std::string>(); };
  std::function<std::string(std::string_view key)> text = [](std::string_view key) { return std::string(key); };
  std::function<int(const std::vector<platform::menu_entry>& entries, math::point at)> popup_menu =
      [](const std::vector<platform::menu_entry>&, math::point) { return -1; };
  std::function<std::string()> clipboard_text = [] { return std::string(); };
  std::function<void(const std::string& text)> set_clipboard_text = [](const std::string&) {};
  std::function<std::uint32_t()> milliseconds = platform::milliseconds;
  const save::queue* saves = nullptr;
  std::function<std::string()> news = {};
};

// Main thread. One for a window run; it can draw without a window.
class window {
 public:
  // Registers the actions of the areas.
  explicit window(window_parts parts);
  window(const window&) = delete;
  window& operator=(const window&) = delete;

  ui::input& input() { return input_; }
  // Once in each pass of the main loop.
  redraw pass(int elapsed_milliseconds, bool live);

  // Draws the whole client area at a time of the timeline into `target`, which becomes an 8-bit picture of that size
  // with the planes of a composite. `times` may be null. Returns what is owed after this picture.
  redraw draw(img::image& target, math::point size, double time, render::frame_times* times);
  // Makes what can be made of the next draw() at that time before it is due, as long as nothing else happens.
  void make_ahead(math::point size, double time);
  // Something else happened.
  void forget_ahead() { ahead_ = {}; }

  mouse_handler* hit_test(math::point point);

 private:
  window_parts parts_;
  ui::input input_;
  workbench bench_;
  std::vector<area> areas_;
  std::optional<math::point> drawn_size_;  // while a picture is drawn
  long long seen_errors_ = 0;
  render::frame_ahead ahead_;

  ksn::window_layout layout() const;
  static place place_of(const area& area, const ksn::window_layout& layout);
};

}  // namespace ui
