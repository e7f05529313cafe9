#include "ui/widgets/edit_field.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <string_view>
#include <utility>

#include "ui/toolkit/palette.h"

namespace ui {
namespace {

constexpr std::size_t most_number_characters = 15;
constexpr std::size_t most_text_characters = 10000;
constexpr int margin = 5;  // of the text, at scale 1
constexpr int key_tab = 9;
constexpr int key_up = 38;
constexpr int key_down = 40;
constexpr int copy_entry = 1;
constexpr int paste_entry = 2;
constexpr int reset_entry = 3;

bool belongs_to_a_number(char16_t c) {
  return (c >= u'0' && c <= u'9') || c == u'+' || c == u'-' || c == u'.' || c == u'e' || c == u'E';
}

std::string printed(const std::string& format, double value) {
  char text[64];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  std::snprintf(text, sizeof text, format.c_str(), value);
#pragma GCC diagnostic pop
  return text;
}

// One of the last digit of "%+.2f" is 0.01.
double last_digit(const std::string& format) {
  const std::size_t point = format.find('.');
  const int digits = point == std::string::npos || point + 1 >= format.size() ? 0 : format[point + 1] - '0';
  return digits < 1 || digits > 9 ? 1.0 : std::pow(10.0, -digits);
}

double speed_of(int modifiers) {
  return modifiers & platform::key_shift ? 10 : modifiers & platform::key_ctrl ? 0.1 : 1;
}

// A whole number of the steps at hand, so that no digits gather that nobody sees.
double rounded(double value, double step, double speed) {
  const double grain = step * std::min(speed, 1.0);
  return std::rint(value / grain) * grain;
}

// The number that a text begins with; what follows it (a unit) does not count.
std::optional<double> number_of(std::string_view text) {
  while (!text.empty() && (text[0] == ' ' || text[0] == '+')) text.remove_prefix(1);
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || !std::isfinite(value)) return std::nullopt;
  return value;
}

}  // namespace

mouse_handler* typing_field::hit_test(math::point point, const place& at) {
  last_ = at;
  return box_.holds(point, at) ? this : nullptr;
}

void typing_field::draw(painter& on, const place& at) {
  last_ = at;
  rectangle box = box_.in(at);
  const bool typing = is_typing();
  const bool enabled = is_enabled();
  on.round_fill(box, on.px(palette::field_radius), palette::field);
  on.round_frame(box, on.px(palette::field_radius),
                 typing                       ? palette::live
                 : enabled && on.is_hot(this) ? palette::gray(90)
                                              : palette::field_rim);
  box.right -= on.px(right_margin());
  if (typing) {
    caret_ = editor_.draw(on, box, font(), on.px(margin));
  } else {
    on.line(enabled ? shown_text() : no_value, font(), enabled ? palette::value : palette::faint, box, alignment(),
            on.px(margin));
  }
}

void typing_field::mouse_up(mouse_button button, math::point point, bool) {
  if (is_typing()) {
    if (button == mouse_button::right) open_menu(point);
    return;
  }
  if (button == mouse_button::left) begin_typing();
}

void typing_field::begin_typing() {
  if (!is_enabled()) return;
  const std::string text = shown_text();
  started_with_ = text == no_value ? std::string() : text;
  editor_.start(started_with_, true);
  host_.input.take_focus({shared_from_this(), this});
}

void typing_field::show_typed(const std::string& text) {
  started_with_ = text;
  editor_.start(text, true);
}

void typing_field::commit() {
  if (editor_.text() != started_with_) store(editor_.text());
}

void typing_field::wheel(int axis, int steps, math::point) {
  if (axis == 0 && surroundings_.scroll) surroundings_.scroll(steps);
}

bool typing_field::key(int code) {
  const bool cuts = code == ('X' | platform::key_ctrl);
  if (cuts || code == ('C' | platform::key_ctrl)) {
    host_.set_clipboard_text(editor_.selected() ? editor_.selected_text() : editor_.text());
    if (cuts) editor_.erase_selected();
    return cuts;
  }
  if (code == ('V' | platform::key_ctrl)) {
    editor_.insert(host_.clipboard_text());
    return true;
  }
  if ((code & ~platform::key_shift) == key_tab) {
    // The field may be gone when the next one has the focus.
    const std::shared_ptr<ui_object> kept = shared_from_this();
    host_.input.drop_focus(this);
    commit();
    if (surroundings_.walk) surroundings_.walk(code == key_tab ? 1 : -1);
    return true;
  }
  return editor_.key(code);
}

void typing_field::open_menu(math::point point) {
  std::vector<platform::menu_entry> entries(can_reset() ? 4 : 2);
  entries[0].text = host_.text("ui_cm_copy");
  entries[0].id = copy_entry;
  entries[1].text = host_.text("ui_cm_paste");
  entries[1].id = paste_entry;
  if (can_reset()) {
    entries[3].text = host_.text("ui_cm_undo_reset");
    entries[3].id = reset_entry;
  }
  switch (host_.popup_menu(entries, point)) {
    case copy_entry:
      host_.set_clipboard_text(editor_.text());
      break;
    case paste_entry:
      editor_.insert(host_.clipboard_text());
      break;
    case reset_entry:
      editor_.start(shown_text(), true);
      break;
    default:
      break;
  }
  host_.input.ask_redraw();
}

// A drag of the value. The field outlives it: it holds a share.
class ui_edit_field::drag : public drag_handler {
 public:
  drag(std::shared_ptr<ui_edit_field> field, std::optional<double> value)
      : field_(std::move(field)), value_(value), shown_(value.value_or(0)) {}
  void begin(math::point point) override {
    last_ = point;
    if (field_->parts_.begin_drag) field_->parts_.begin_drag();
  }
  void move(math::point point) override {
    const int modifiers = field_->host().input.modifiers();
    const double speed = speed_of(modifiers);
    if (point.x == last_.x) return;
    shown_ += (point.x - last_.x) * field_->step_ * speed / field_->last_place().scale;
    last_ = point;
    store(rounded(shown_, field_->step_, speed));
  }
  void end(math::point) override { finish(true); }
  void cancel() override {
    store(value_.value_or(0));
    finish(false);
  }
  cursor_shape get_cursor(math::point) override { return cursor_shape::size_horizontal; }

 private:
  std::shared_ptr<ui_edit_field> field_;
  std::optional<double> value_;  // at the start; nothing for several that differ
  double shown_;                 // not rounded; of several that differ by how much they changed
  math::point last_;

  void store(double number) { value_ ? field_->parts_.set(number) : field_->parts_.shift(number); }

  void finish(bool kept) {
    if (field_->parts_.end_drag) field_->parts_.end_drag(kept);
  }
};

ui_edit_field::ui_edit_field(const widget_host& host, widget_box box, parts parts)
    : typing_field(host, box, text_editor(belongs_to_a_number, most_number_characters, false)),
      parts_(std::move(parts)),
      step_(parts_.step > 0 ? parts_.step : last_digit(parts_.format)) {}

press_result ui_edit_field::mouse_down(mouse_button button, math::point, bool) {
  const bool may_drag = button == mouse_button::left && is_enabled() && !is_typing() && (parts_.shift || parts_.get());
  return may_drag ? press_result::drag_after_movement : press_result::click;
}

std::shared_ptr<drag_handler> ui_edit_field::get_drag_handler(mouse_button, math::point) {
  const std::optional<double> value = parts_.get();
  if (!value && !parts_.shift) return {};
  return std::make_shared<drag>(std::static_pointer_cast<ui_edit_field>(shared_from_this()), value);
}

void ui_edit_field::mouse_up(mouse_button button, math::point point, bool double_click) {
  if (button == mouse_button::right && !is_typing() && is_enabled() && parts_.menu) return parts_.menu(point);
  typing_field::mouse_up(button, point, double_click);
}

std::string ui_edit_field::get_tool_tip(math::point) {
  const std::string hint = host().text(parts_.hint);
  return parts_.about.empty() ? hint : parts_.about + "\n" + hint;
}

bool ui_edit_field::key(int code) {
  const int key = code & 0xFFFF;
  if (key != key_up && key != key_down) return typing_field::key(code);
  step_by(key == key_up ? 1 : -1, code & ~0xFFFF);
  return true;
}

void ui_edit_field::step_by(int direction, int modifiers) {
  const std::optional<double> typed = number_of(editor().text());
  const std::optional<double> value = typed ? typed : parts_.get();
  if (!value) return;
  if (!stepped_from_) {
    stepped_from_ = parts_.get();
    if (parts_.begin_drag) parts_.begin_drag();
  }
  const double speed = speed_of(modifiers);
  parts_.set(rounded(*value + direction * step_ * speed, step_, speed));
  show_typed(shown_text());
}

void ui_edit_field::end_steps(bool kept) {
  if (!std::exchange(stepped_from_, std::nullopt)) return;
  if (parts_.end_drag) parts_.end_drag(kept);
}

void ui_edit_field::commit() {
  typing_field::commit();
  end_steps(true);
}

void ui_edit_field::cancel() {
  if (stepped_from_ && *stepped_from_) parts_.set(**stepped_from_);
  end_steps(false);
}

cursor_shape ui_edit_field::get_cursor(math::point) {
  if (!is_enabled()) return cursor_shape::arrow;
  return is_typing() ? cursor_shape::text : cursor_shape::size_horizontal;
}

std::string ui_edit_field::shown_text() const {
  const std::optional<double> value = parts_.get();
  return value ? printed(parts_.format, *value) : no_value;
}

void ui_edit_field::store(const std::string& text) {
  if (const std::optional<double> value = number_of(text)) parts_.set(*value);
}

ui_text_field::ui_text_field(const widget_host& host, widget_box box, parts parts)
    : typing_field(host, box, text_editor({}, most_text_characters, !parts.one_line)), parts_(std::move(parts)) {}

void ui_text_field::mouse_up(mouse_button button, math::point point, bool double_click) {
  if (button == mouse_button::right && !is_typing() && is_enabled() && parts_.menu) return parts_.menu(point);
  typing_field::mouse_up(button, point, double_click);
}

void ui_text_field::draw(painter& on, const place& at) {
  if (is_typing() || !is_enabled() || parts_.one_line) return typing_field::draw(on, at);
  hit_test({-1, -1}, at);  // notes the place
  const rectangle box = pixels(at);
  on.round_fill(box, on.px(palette::field_radius), palette::field);
  on.round_frame(box, on.px(palette::field_radius), on.is_hot(this) ? palette::gray(90) : palette::field_rim);
  text_place place;
  place.position = {box.left + on.px(margin), box.top + on.px(margin)};
  const rectangle before = on.set_clip(math::intersect(on.clip(), box));
  on.text(parts_.get(), font(), palette::value, place);
  on.set_clip(before);
}

}  // namespace ui
