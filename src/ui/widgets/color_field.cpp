#include "ui/widgets/color_field.h"

#include <cstdio>

#include "ui/toolkit/palette.h"

namespace ui {
namespace {

constexpr std::size_t most_characters = 15;  // "255 255 255", and blanks
constexpr int spot_width = 18;               // at scale 1

}  // namespace

void ui_color_spot::draw(painter& on, const place& at) {
  const rectangle box = box_.in(at);
  const bool enabled = !parts_.enabled || parts_.enabled();
  const std::optional<lib::color> color = enabled ? parts_.get() : std::nullopt;
  on.round_fill(box, on.px(palette::field_radius), color ? *color : palette::field);
  if (!on.art("color_spot", {(box.left + box.right) / 2, (box.top + box.bottom) / 2})) {
    on.round_frame(box, on.px(palette::field_radius), palette::field_rim);
  }
}

void ui_color_spot::mouse_up(mouse_button button, math::point, bool) {
  const bool enabled = !parts_.enabled || parts_.enabled();
  if (button == mouse_button::left && enabled && parts_.clicked) parts_.clicked();
}

ui_color_field::ui_color_field(const widget_host& host, widget_box box, parts parts)
    : typing_field(host, box,
                   text_editor([](char16_t c) { return (c >= u'0' && c <= u'9') || c == u' ' || c == u','; },
                               most_characters, false)),
      parts_(std::move(parts)),
      spot_(host, {box.x + box.width - spot_width, box.y, spot_width, box.height}, {parts_.get, parts_.enabled, {}}) {}

bool ui_color_field::picks_at(math::point point) {
  return parts_.pick && is_enabled() && !is_typing() && spot_.hit_test(point, last_place());
}

void ui_color_field::mouse_up(mouse_button button, math::point point, bool double_click) {
  if (button == mouse_button::left && picks_at(point)) return parts_.pick();
  typing_field::mouse_up(button, point, double_click);
}

std::string ui_color_field::get_tool_tip(math::point point) {
  return host().text(picks_at(point) ? "panel.color_spot_hint" : "panel.color_field_hint");
}

cursor_shape ui_color_field::get_cursor(math::point point) {
  return picks_at(point) ? cursor_shape::pick : typing_field::get_cursor(point);
}

int ui_color_field::right_margin() const {
  return spot_width;
}

void ui_color_field::draw(painter& on, const place& at) {
  typing_field::draw(on, at);
  spot_.draw(on, at);
}

std::string ui_color_field::shown_text() const {
  const std::optional<lib::color> color = parts_.get();
  if (!color) return no_value;
  char text[16];
  std::snprintf(text, sizeof text, "%d %d %d", color->r, color->g, color->b);
  return text;
}

void ui_color_field::store(const std::string& text) {
  int r = -1;
  int g = -1;
  int b = -1;
  if (std::sscanf(text.c_str(), "%3d%*[ ,]%3d%*[ ,]%3d", &r, &g, &b) != 3) return;
  if (r < 0 || g < 0 || b < 0 || r > 255 || g > 255 || b > 255) return;
  lib::color color = parts_.get().value_or(lib::color{});
  color.r = static_cast<std::uint8_t>(r);
  color.g = static_cast<std::uint8_t>(g);
  color.b = static_cast<std::uint8_t>(b);
  parts_.set(color);
}

}  // namespace ui
