// The services of the window that widgets use. They know nothing of the document.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/desktop.h"
#include "ui/toolkit/input.h"

namespace ui {

// Outlives the widgets. A function that is not told does nothing.
struct widget_host {
  ui::input& input;
  // Of the message catalogue.
  std::function<std::string(std::string_view key)> text = [](std::string_view key) { return std::string(key); };
  // Runs a menu with its corner at a point of the client area; the id of the chosen entry, -1 for none.
  std::function<int(const std::vector<platform::menu_entry>& entries, math::point at)> popup_menu =
      [](const std::vector<platform::menu_entry>&, math::point) { return -1; };
  std::function<std::string()> clipboard_text = [] { return std::string(); };
  std::function<void(const std::string& text)> set_clipboard_text = [](const std::string&) {};
};

// Where a widget stands in its parent, at scale 1.
struct widget_box {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;

  rectangle in(const place& at) const {
    const math::point corner = at.at(x, y);
    return {corner.x, corner.y, corner.x + width * at.scale, corner.y + height * at.scale};
  }
  bool holds(math::point point, const place& at) const { return math::holds(in(at), point); }
};

constexpr const char* no_value = "---";  // in place of a value that is mixed, missing or disabled

}  // namespace ui
