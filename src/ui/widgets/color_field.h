// A colour as three numbers and a swatch.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "lib/color.h"
#include "ui/widgets/edit_field.h"

namespace ui {

// The swatch: `color_spot` art as its frame over the colour.
class ui_color_spot : public ui_object, public mouse_handler {
 public:
  struct parts {
    std::function<std::optional<lib::color>()> get;  // nothing: several that differ
    std::function<bool()> enabled;                   // empty: always
    std::function<void()> clicked;                   // empty: nothing happens
  };
  ui_color_spot(const widget_host& host, widget_box box, parts parts)
      : host_(host), box_(box), parts_(std::move(parts)) {}
  mouse_handler* hit_test(math::point point, const place& at) override {
    return box_.holds(point, at) ? this : nullptr;
  }
  void draw(painter& on, const place& at) override;
  press_result mouse_down(mouse_button, math::point, bool) override { return press_result::click; }
  void mouse_up(mouse_button button, math::point, bool) override;
  std::string get_tool_tip(math::point) override { return host_.text("panel.color_spot_hint"); }

 private:
  const widget_host& host_;
  widget_box box_;
  parts parts_;
};

// "%d %d %d": red, green, blue from 0 to 255, with the swatch at the right end.
class ui_color_field : public typing_field {
 public:
  struct parts {
    std::function<std::optional<lib::color>()> get;  // nothing: several that differ
    std::function<void(lib::color)> set;
    std::function<bool()> enabled;    // empty: always
    std::function<void()> pick = {};  // of a click on the swatch; empty: it types like all of the field
  };
  ui_color_field(const widget_host& host, widget_box box, parts parts);
  void draw(painter& on, const place& at) override;
  void mouse_up(mouse_button button, math::point point, bool double_click) override;
  std::string get_tool_tip(math::point point) override;
  cursor_shape get_cursor(math::point point) override;

 protected:
  bool is_enabled() const override { return !parts_.enabled || parts_.enabled(); }
  std::string shown_text() const override;
  void store(const std::string& text) override;
  painter::align alignment() const override { return painter::align::left; }
  int right_margin() const override;

 private:
  parts parts_;
  ui_color_spot spot_;

  bool picks_at(math::point point);
};

}  // namespace ui
