// Widgets side by side, and labels between them.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ui/toolkit/painter.h"
#include "ui/toolkit/palette.h"
#include "ui/widgets/host.h"

namespace ui {

// Draws its children in their order; of those under the pointer the first one takes it.
class ui_group : public ui_object {
 public:
  explicit ui_group(math::point position = {}) : position_(position) {}
  // Relative to the parent, at scale 1.
  void move_to(math::point position) { position_ = position; }
  void add(std::shared_ptr<ui_object> child) { children_.push_back(std::move(child)); }
  void clear() { children_.clear(); }
  mouse_handler* hit_test(math::point point, const place& at) override {
    const place inside = at.moved(position_.x, position_.y);
    for (const std::shared_ptr<ui_object>& child : children_) {
      if (mouse_handler* found = child->hit_test(point, inside)) return found;
    }
    return nullptr;
  }
  void draw(painter& on, const place& at) override {
    const place inside = at.moved(position_.x, position_.y);
    for (const std::shared_ptr<ui_object>& child : children_) child->draw(on, inside);
  }

 private:
  math::point position_;
  std::vector<std::shared_ptr<ui_object>> children_;
};

// A label. The pointer goes through it.
class ui_static_text : public ui_object {
 public:
  ui_static_text(widget_box box, std::function<std::string()> text, std::string font = "panel.label",
                 painter::align align = painter::align::left, lib::color color = palette::text)
      : box_(box), text_(std::move(text)), font_(std::move(font)), align_(align), color_(color) {}
  mouse_handler* hit_test(math::point, const place&) override { return nullptr; }
  void draw(painter& on, const place& at) override { on.line(text_(), font_, color_, box_.in(at), align_); }

 private:
  widget_box box_;
  std::function<std::string()> text_;
  std::string font_;
  painter::align align_;
  lib::color color_;
};

}  // namespace ui
