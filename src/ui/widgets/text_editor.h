// Text while it is typed: characters, a caret, and the first key that replaces what stood there.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "ui/toolkit/painter.h"

namespace ui {

class text_editor {
 public:
  // `accepts` may be empty; `limit` is the most 16-bit units, `lines` allows line feeds.
  text_editor(std::function<bool(char16_t)> accepts, std::size_t limit, bool lines)
      : accepts_(std::move(accepts)), limit_(limit), lines_(lines) {}

  // Begins with this text; with `select` all of it, so that the first character takes its place.
  void start(std::string_view utf8, bool select);
  std::string text() const;
  // One unit of typed text; 8 deletes the character before the caret.
  void type(char16_t unit);
  // Arrows, Home, End, Delete, Ctrl+A, and Shift+Enter where there are lines. True when something changed.
  bool key(int code);
  void insert(std::string_view utf8);
  bool selected() const { return selected_; }
  std::size_t caret() const { return caret_; }

  // Draws lines from the box's upper left corner, or one line at the middle of its height, with the caret.
  void draw(painter& on, const rectangle& box, std::string_view font, int margin) const;

 private:
  std::function<bool(char16_t)> accepts_;
  std::size_t limit_;
  bool lines_;
  std::u16string text_;
  std::size_t caret_ = 0;  // in units
  bool selected_ = false;  // all of it

  std::size_t step(std::size_t from, int direction) const;
  void put(std::u16string_view units);
  void erase(std::size_t first, std::size_t last);
  std::size_t line_start(std::size_t at) const;
  std::size_t line_end(std::size_t at) const;
};

}  // namespace ui
