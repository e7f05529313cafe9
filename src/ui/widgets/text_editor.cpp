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

}  // namespace

void text_editor::start(std::string_view utf8, bool select) {
  text_ = lib::to_utf16(utf8);
  caret_ = text_.size();
  selected_ = select && !text_.empty();
}

std::string text_editor::text() const {
  return lib::to_utf8(text_);
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

void text_editor::erase(std::size_t first, std::size_t last) {
  text_.erase(first, last - first);
  caret_ = first;
  selected_ = false;
}

void text_editor::put(std::u16string_view units) {
  if (selected_) erase(0, text_.size());
  for (const char16_t unit : units) {
    const bool line_feed = unit == u'\n' && lines_;
    if (!line_feed && (unit < 32 || unit == 127 || (accepts_ && !accepts_(unit)))) continue;
    if (text_.size() >= limit_) return;
    text_.insert(caret_++, 1, unit);
  }
}

void text_editor::type(char16_t unit) {
  if (unit != backspace) return put({&unit, 1});
  if (selected_) return erase(0, text_.size());
  erase(step(caret_, -1), caret_);
}

void text_editor::insert(std::string_view utf8) {
  put(lib::to_utf16(utf8));
}

std::size_t text_editor::line_start(std::size_t at) const {
  const std::size_t feed = at == 0 ? std::u16string::npos : text_.rfind(u'\n', at - 1);
  return feed == std::u16string::npos ? 0 : feed + 1;
}

std::size_t text_editor::line_end(std::size_t at) const {
  return std::min(text_.find(u'\n', at), text_.size());
}

bool text_editor::key(int code) {
  const std::size_t column = caret_ - line_start(caret_);
  const auto go = [&](std::size_t to) {
    caret_ = to;
    selected_ = false;
    return true;
  };
  switch (code) {
    case key_left:
      return go(selected_ ? 0 : step(caret_, -1));
    case key_right:
      return go(selected_ ? text_.size() : step(caret_, 1));
    case key_home:
      return go(line_start(caret_));
    case key_end:
      return go(line_end(caret_));
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
      selected_ ? erase(0, text_.size()) : erase(caret_, step(caret_, 1));
      return true;
    case key_enter | platform::key_shift:
      put(u"\n");
      return lines_;
    case 'A' | platform::key_ctrl:
      selected_ = !text_.empty();
      caret_ = text_.size();
      return true;
    default:
      return false;
  }
}

void text_editor::draw(painter& on, const rectangle& box, std::string_view font, int margin) const {
  const rectangle before = on.set_clip(math::intersect(on.clip(), box));
  const int line_height = on.measure("x", font).y;
  int y = lines_ ? box.top + margin : box.top + (box.bottom - box.top - line_height) / 2;
  const auto width = [&](std::size_t first, std::size_t last) {
    return on.measure(lib::to_utf8(std::u16string_view(text_).substr(first, last - first)) + "|", font, 0, 1).x -
           on.measure("|", font, 0, 1).x;
  };
  for (std::size_t first = 0;;) {
    const std::size_t last = line_end(first);
    const bool has_caret = caret_ >= first && caret_ <= last;
    // A line that is too long shows the part with the caret.
    const int room = box.right - box.left - 2 * margin;
    const int shift = has_caret ? std::max(0, width(first, caret_) - room) : 0;
    const int x = box.left + margin - shift;
    if (selected_) {
      on.fill({x, y, x + width(first, last), y + line_height}, palette::with_alpha(palette::selected, 160));
    }
    text_place place;
    place.position = {x, y};
    on.text(lib::to_utf8(std::u16string_view(text_).substr(first, last - first)), font, palette::value, place);
    if (has_caret && !selected_) {
      const int caret_x = x + width(first, caret_);
      on.fill({caret_x, y, caret_x + on.px(1), y + line_height}, palette::live);
    }
    if (last == text_.size()) break;
    first = last + 1;
    y += line_height;
  }
  on.set_clip(before);
}

}  // namespace ui
