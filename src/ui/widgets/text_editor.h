// Text while it is typed: characters, a caret, and what is selected.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "ui/toolkit/painter.h"

namespace ui {

// Places are counted in 16-bit units from the start of the text.
class text_editor {
 public:
  // `accepts` may be empty; `limit` is the most 16-bit units, `lines` allows line feeds.
  text_editor(std::function<bool(char16_t)> accepts, std::size_t limit, bool lines)
      : accepts_(std::move(accepts)), limit_(limit), lines_(lines) {}

  // Begins with this text; with `select` all of it, so that the first character takes its place.
  void start(std::string_view utf8, bool select);
  std::string text() const;
  const std::u16string& units() const { return text_; }
  // What an input method is at stands at the caret, in the place of what is selected, and is no part of the text.
  void compose(std::string_view utf8);
  // The text with that in it, where it stands from the first unit to the one after the last, and the caret after it.
  std::u16string shown_units() const;
  std::pair<std::size_t, std::size_t> composed() const { return {caret_, caret_ + composed_.size()}; }
  std::size_t shown_caret() const { return caret_ + composed_.size(); }
  // One unit of typed text, in the place of what is selected; 8 deletes that, or the character before the caret.
  void type(char16_t unit);
  // Arrows, Home, End, each with Shift to select and left and right with Ctrl by words, Delete, Ctrl+A, and Shift+Enter
  // where there are lines. True when something changed.
  bool key(int code);
  void insert(std::string_view utf8);
  void erase_selected();
  bool selected() const { return anchor_ != caret_; }
  // From the first unit to the one after the last.
  std::pair<std::size_t, std::size_t> selection() const { return std::minmax(anchor_, caret_); }
  std::string selected_text() const;
  std::size_t caret() const { return caret_; }
  // Moves the caret; with `extend` what lies between is selected.
  void go_to(std::size_t place, bool extend);
  // Selects the word around a place.
  void select_word(std::size_t place);

  // Draws lines from the box's upper left corner, or one line at the middle of its height, with the caret, whose place
  // it returns. What has no room is moved out above and at the left, so that the caret is seen.
  rectangle draw(painter& on, const rectangle& box, std::string_view font, int margin) const;

 private:
  std::function<bool(char16_t)> accepts_;
  std::size_t limit_;
  bool lines_;
  std::u16string text_;
  std::u16string composed_;
  std::size_t caret_ = 0;
  std::size_t anchor_ = 0;  // the other end of what is selected

  std::size_t step(std::size_t from, int direction) const;
  std::size_t word_step(std::size_t from, int direction) const;
  void put(std::u16string_view units);
  void erase(std::size_t first, std::size_t last);
  std::size_t line_start(std::size_t at) const;
  std::size_t line_end(std::size_t at) const { return end_of_line(text_, at); }
  static std::size_t end_of_line(const std::u16string& text, std::size_t at);
};

}  // namespace ui
