#include "ui/widgets/text_editor.h"

#include <algorithm>

#include "lib/utf.h"
#include "platform/desktop.h"
#include "ui/toolkit/palette.h"

namespace ui {
namespace {

constexpr char16_t backspace = 8;
constexpr int key_enter = 13;
constexpr int key_end = 35;
constexpr int key_home = 36;
constexpr int key_left = 37;
constexpr int key_up = 38;
constexpr int key_right = 39;
constexpr int key_down = 40;
constexpr int key_delete = 46;

constexpr bool is_low_surrogate(char16_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

bool is_blank(char16_t unit) {
  return unit == u' ' || unit == u'\n' || unit == u'\t';
}

}  // namespace

void text_editor::start(std::string_view utf8, bool select) {
  text_ = lib::to_utf16(utf8);
  composed_.clear();
  caret_ = text_.size();
  anchor_ = select ? 0 : caret_;
}

std::string text_editor::text() const {
  return lib::to_utf8(text_);
}

std::string text_editor::selected_text() const {
  const auto [first, last] = selection();
  return lib::to_utf8(std::u16string_view(text_).substr(first, last - first));
}

void text_editor::go_to(std::size_t place, bool extend) {
  caret_ = std::min(place, text_.size());
  if (caret_ > 0 && caret_ < text_.size() && is_low_surrogate(text_[caret_])) --caret_;
  if (!extend) anchor_ = caret_;
}

void text_editor::select_word(std::size_t place) {
  place = std::min(place, text_.size());
  std::size_t first = place;
  std::size_t last = place;
  while (first > 0 && !is_blank(text_[first - 1])) --first;
  while (last < text_.size() && !is_blank(text_[last])) ++last;
  anchor_ = first;
  caret_ = last;
}

// A pair of surrogates is one step.
std::size_t text_editor::step(std::size_t from, int direction) const {
  if (direction < 0) {
    if (from == 0) return 0;
    --from;
    return from > 0 && is_low_surrogate(text_[from]) ? from - 1 : from;
  }
  if (from >= text_.size()) return text_.size();
  ++from;
  return from < text_.size() && is_low_surrogate(text_[from]) ? from + 1 : from;
}

// Over blanks to the end of a word.
std::size_t text_editor::word_step(std::size_t from, int direction) const {
  const auto blank_beside = [&](std::size_t at) { return is_blank(text_[direction < 0 ? at - 1 : at]); };
  const std::size_t end = direction < 0 ? 0 : text_.size();
  while (from != end && blank_beside(from)) from = step(from, direction);
  while (from != end && !blank_beside(from)) from = step(from, direction);
  return from;
}

void text_editor::erase(std::size_t first, std::size_t last) {
  text_.erase(first, last - first);
  caret_ = anchor_ = first;
}

void text_editor::erase_selected() {
  const auto [first, last] = selection();
  erase(first, last);
}

void text_editor::put(std::u16string_view units) {
  erase_selected();
  for (const char16_t unit : units) {
    const bool line_feed = unit == u'\n' && lines_;
    if (!line_feed && (unit < 32 || unit == 127 || (accepts_ && !accepts_(unit)))) continue;
    if (text_.size() >= limit_) break;
    text_.insert(caret_++, 1, unit);
  }
  anchor_ = caret_;
}

void text_editor::type(char16_t unit) {
  if (unit != backspace) return put({&unit, 1});
  if (selected()) return erase_selected();
  erase(step(caret_, -1), caret_);
}

void text_editor::insert(std::string_view utf8) {
  put(lib::to_utf16(utf8));
}

std::size_t text_editor::line_start(std::size_t at) const {
  const std::size_t feed = at == 0 ? std::u16string::npos : text_.rfind(u'\n', at - 1);
  return feed == std::u16string::npos ? 0 : feed + 1;
}

std::size_t text_editor::end_of_line(const std::u16string& text, std::size_t at) {
  return std::min(text.find(u'\n', at), text.size());
}

void text_editor::compose(std::string_view utf8) {
  composed_ = lib::to_utf16(utf8);
  if (!composed_.empty()) erase_selected();
}

std::u16string text_editor::shown_units() const {
  std::u16string shown = text_;
  shown.insert(caret_, composed_);
  return shown;
}

bool text_editor::key(int code) {
  const bool extend = code & platform::key_shift;
  const bool by_words = code & platform::key_ctrl;
  const std::size_t column = caret_ - line_start(caret_);
  const auto go = [&](std::size_t to) {
    go_to(to, extend);
    return true;
  };
  const auto sideways = [&](int direction) {
    // Without Shift the first arrow leaves what is selected at that end.
    if (selected() && !extend && !by_words) return go(direction < 0 ? selection().first : selection().second);
    return go(by_words ? word_step(caret_, direction) : step(caret_, direction));
  };
  if (code == ('A' | platform::key_ctrl)) {
    anchor_ = 0;
    caret_ = text_.size();
    return true;
  }
  if (code == (key_enter | platform::key_shift)) {
    if (lines_) put(u"\n");
    return lines_;
  }
  switch (code & 0xFFFF) {
    case key_left:
      return sideways(-1);
    case key_right:
      return sideways(1);
    case key_home:
      return go(by_words ? 0 : line_start(caret_));
    case key_end:
      return go(by_words ? text_.size() : line_end(caret_));
    case key_up: {
      const std::size_t start = line_start(caret_);
      if (start == 0) return go(0);
      const std::size_t above = line_start(start - 1);
      return go(std::min(above + column, start - 1));
    }
    case key_down: {
      const std::size_t end = line_end(caret_);
      if (end == text_.size()) return go(end);
      return go(std::min(end + 1 + column, line_end(end + 1)));
    }
    case key_delete:
      selected() ? erase_selected() : erase(caret_, step(caret_, 1));
      return true;
    default:
      return false;
  }
}

rectangle text_editor::draw(painter& on, const rectangle& box, std::string_view font, int margin) const {
  const rectangle before = on.set_clip(math::intersect(on.clip(), box));
  const int line_height = on.measure("x", font).y;
  const std::u16string shown = shown_units();
  const std::size_t caret = shown_caret();
  int y = box.top + (box.bottom - box.top - line_height) / 2;
  if (lines_) {
    // As sideways: what is too high shows the part that ends with the caret's line.
    const auto above =
        static_cast<int>(std::count(shown.begin(), shown.begin() + static_cast<std::ptrdiff_t>(caret), u'\n'));
    y = box.top + margin - std::max(0, (above + 1) * line_height - (box.bottom - box.top - 2 * margin));
  }
  const auto part = [&](std::size_t first, std::size_t last) {
    return lib::to_utf8(std::u16string_view(shown).substr(first, last - first));
  };
  const auto width = [&](std::size_t first, std::size_t last) {
    return on.measure(part(first, last) + "|", font, 0, 1).x - on.measure("|", font, 0, 1).x;
  };
  rectangle caret_place;
  for (std::size_t first = 0;;) {
    const std::size_t last = end_of_line(shown, first);
    const bool has_caret = caret >= first && caret <= last;
    // A line that is too long shows the part with the caret.
    const int room = box.right - box.left - 2 * margin;
    const int shift = has_caret ? std::max(0, width(first, caret) - room) : 0;
    const int x = box.left + margin - shift;
    const auto mark = [&](const std::pair<std::size_t, std::size_t>& range, int top, lib::color color) {
      const std::size_t left = std::max(range.first, first);
      const std::size_t right = std::min(range.second, last);
      if (left < right) on.fill({x + width(first, left), top, x + width(first, right), y + line_height}, color);
    };
    if (selected()) mark(selection(), y, palette::with_alpha(palette::selected, 160));
    text_place place;
    place.position = {x, y};
    on.text(part(first, last), font, palette::value, place);
    mark(composed(), y + line_height - on.px(1), palette::value);
    if (has_caret) {
      const int caret_x = x + width(first, caret);
      caret_place = {caret_x, y, caret_x + on.px(1), y + line_height};
      if (!selected()) on.fill(caret_place, palette::live);
    }
    if (last == shown.size()) break;
    first = last + 1;
    y += line_height;
  }
  on.set_clip(before);
  return caret_place;
}

}  // namespace ui
