#include "ui/preview/preview.h"

#include <cstdlib>
#include <functional>
#include <optional>
#include <string>

#include "composition/editing/canvas.h"
#include "render/places.h"
#include "ui/picture_color.h"
#include "ui/preview/brush_drags.h"
#include "ui/preview/gestures.h"
#include "ui/preview/info_bar.h"
#include "ui/preview/layer_drags.h"
#include "ui/preview/pixel_tip.h"
#include "ui/preview/selection.h"
#include "ui/preview/view_drags.h"
#include "ui/toolkit/painter.h"

namespace ui {
namespace {

class preview : public ui_object, public mouse_handler {
 public:
  explicit preview(workbench& bench) : bench_(bench), bar_(make_info_bar(bench)) {
    for (int i = 0; i < handle_count; ++i) handles_[i].set(this, handle_of(i));
    const auto add = [&](const char* name, const char* help, std::function<void(lib::color)> take) {
      bench.engine.add({.group = command::action_group::internal, .name = name, .help = help, .execute = [this, take] {
                          if (const auto point = picked_point()) take(color_at(bench_, *point));
                        }});
    };
    add("internal_copy_color", "copy the colour under the pointer as red, green, blue", [&bench](lib::color color) {
      bench.host.set_clipboard_text(std::to_string(color.r) + "," + std::to_string(color.g) + "," +
                                    std::to_string(color.b));
    });
    add("internal.set_brush_color", "paint with the colour under the pointer", [&bench](lib::color color) {
      color.a = bench.composition.workspace.brush_color.a;
      bench.composition.workspace.brush_color = color;
    });
  }

  mouse_handler* hit_test(math::point point, const place& at) override {
    if (point.y >= bench_.layout().split) return nullptr;
    if (bar_->covers(point)) return bar_->hit_test(point, at);
    if (!takes_hold(bench_)) return this;
    const handle found = handle_at(point);
    return found.of == handle::box_kind::none ? this : static_cast<mouse_handler*>(&handles_[index_of(found)]);
  }
  void draw(painter& on, const place& at) override {
    if (takes_hold(bench_) && is_hot(on)) {
      draw_selection(on, bench_);
      draw_layer_under_pointer(on, bench_);
    }
    if (bar_->shown()) bar_->draw(on, at);
  }

  press_result mouse_down(mouse_button button, math::point point, bool double_click) override {
    pressed_at_ = bench_.milliseconds();
    const gesture begun = gesture_of(button, point);
    if (begun == gesture::none) return press_result::click;
    const bool clicks = button == mouse_button::left && (begun == gesture::scrub || takes_hold(bench_));
    if (double_click && clicks) return press_result::click;
    return begun == gesture::scrub ? press_result::drag_after_movement : press_result::drag;
  }
  std::shared_ptr<drag_handler> get_drag_handler(mouse_button button, math::point point) override {
    ksn::state& composition = bench_.composition;
    switch (gesture_of(button, point)) {
      case gesture::crop:
        return make_crop_drag(bench_, handled_layer(composition));
      case gesture::layers_at_point: {
        const int index = layer_at(composition, preview_view(bench_), point);
        if (index < 0) return {};
        composition.doc.selection = {index};
        composition.touch();
        return make_layers_drag(bench_);
      }
      case gesture::layers:
        return make_layers_drag(bench_);
      case gesture::pan:
        return make_pan_drag(bench_);
      case gesture::zoom:
        return make_zoom_drag(bench_, false);
      case gesture::zoom_at_point:
        return make_zoom_drag(bench_, true);
      case gesture::scrub:
        return make_scrub_drag(bench_, pressed_at_);
      case gesture::area:
        return make_area_drag(bench_);
      case gesture::paint:
      case gesture::erase:
        return make_paint_drag(bench_, stamps_, button == mouse_button::right);
      case gesture::brush_size:
        return make_brush_size_drag(bench_, stamps_);
      case gesture::brush_color:
        return make_brush_color_drag(bench_);
      default:
        return {};
    }
  }
  // The left button counts as a double click alone.
  void mouse_up(mouse_button button, math::point point, bool double_click) override {
    if (button == mouse_button::right) {
      menu_at_ = point;
      bench_.context_menu("view", point);
      menu_at_.reset();
      return;
    }
    if (button != mouse_button::left || !double_click) return;
    if (takes_hold(bench_)) {
      edit_text(point);
    } else if (!(bench_.input.modifiers() & platform::key_alt)) {
      bench_.run("add_layer");
    }
  }
  void wheel(int axis, int steps, math::point point) override {
    if (axis != 0) return;
    const auto step = [steps](ksn::view& view) {
      for (int i = 0; i < std::abs(steps); ++i) {
        steps > 0 ? view.increase_zoom_factor() : view.decrease_zoom_factor();
      }
    };
    if (bench_.input.modifiers() & platform::key_ctrl) {
      zoom_around(bench_, point, step);
    } else {
      step(bench_.composition.view);
    }
  }
  cursor_shape get_cursor(math::point point) override {
    switch (gesture_of(mouse_button::left, point)) {
      case gesture::pan:
      case gesture::crop:
        return cursor_shape::move;
      case gesture::area:
      case gesture::paint:
        return cursor_shape::cross;
      case gesture::brush_size:
        return cursor_shape::size_horizontal;
      case gesture::brush_color:
        return cursor_shape::pick;
      case gesture::layers:
      case gesture::layers_at_point:
        return layer_at(bench_.composition, preview_view(bench_), point) >= 0 ? cursor_shape::move
                                                                              : cursor_shape::arrow;
      default:
        return cursor_shape::arrow;
    }
  }
  std::string get_tool_tip(math::point point) override {
    const bool wanted = bench_.composition.workspace.shown_tooltip() && !takes_hold(bench_);
    return wanted ? pixel_text(bench_, point) : std::string();
  }
  // The words at the pointer follow it.
  bool moved(math::point) override { return takes_hold(bench_); }

 private:
  // One for each corner and side, so that going from one to the next counts as leaving.
  class handle_handler : public mouse_handler {
   public:
    void set(preview* owner, const handle& handle) {
      owner_ = owner;
      handle_ = handle;
    }
    press_result mouse_down(mouse_button button, math::point point, bool double_click) override {
      if (!takes(button)) return owner_->mouse_down(button, point, double_click);
      return double_click ? press_result::click : press_result::drag;
    }
    std::shared_ptr<drag_handler> get_drag_handler(mouse_button button, math::point point) override {
      if (!takes(button)) return owner_->get_drag_handler(button, point);
      workbench& bench = owner_->bench_;
      const int layer = handled_layer(bench.composition);
      return layer < 0 ? nullptr : make_handle_drag(bench, layer, handle_);
    }
    void mouse_up(mouse_button button, math::point point, bool double_click) override {
      owner_->mouse_up(button, point, double_click);
    }
    void wheel(int axis, int steps, math::point point) override { owner_->wheel(axis, steps, point); }
    cursor_shape get_cursor(math::point) override { return cursor_of(handle_); }
    bool moved(math::point) override { return true; }

   private:
    preview* owner_ = nullptr;
    handle handle_;

    bool takes(mouse_button button) const {
      return button == mouse_button::left ||
             (button == mouse_button::middle && (owner_->bench_.input.modifiers() & platform::key_shift));
    }
  };

  static constexpr int handle_count = 18;
  workbench& bench_;
  std::shared_ptr<info_bar> bar_;
  handle_handler handles_[handle_count];
  render::brush_stamps stamps_;
  std::uint32_t pressed_at_ = 0;
  std::optional<math::point> menu_at_;  // where the menu that is open was asked for

  // The target of actions at the pointer: nothing outside of the picture.
  std::optional<math::point> picked_point() const {
    if (menu_at_) return menu_at_;
    const math::point at = bench_.input.pointer();
    const bool on_picture = bench_.input.pointer_inside() && at.y < bench_.layout().split && !bar_->covers(at);
    return on_picture ? std::optional(at) : std::nullopt;
  }

  static int index_of(const handle& handle) {
    return (handle.of == handle::box_kind::crop ? 9 : 0) + handle.across * 3 + handle.down;
  }
  static handle handle_of(int index) {
    return {index < 9 ? handle::box_kind::layer : handle::box_kind::crop, index % 9 / 3, index % 3};
  }
  bool is_hot(const painter& on) const {
    if (on.is_hot(this)) return true;
    for (const handle_handler& handler : handles_) {
      if (on.is_hot(&handler)) return true;
    }
    return false;
  }
  handle handle_at(math::point point) const {
    const int index = handled_layer(bench_.composition);
    if (index < 0) return {};
    const ksn::track_info& track = bench_.composition.doc.track_at(index);
    const render::frame_view view = preview_view(bench_);
    const rectangle crop = render::crop_place(track, view);
    return find_handle(render::picture_place(track, view), track.placement.crop ? &crop : nullptr, point,
                       bench_.layout().scale);
  }
  gesture gesture_of(mouse_button button, math::point point) const {
    const ksn::document& doc = bench_.composition.doc;
    press press{
        .button = button, .modifiers = bench_.input.modifiers(), .selected = static_cast<int>(doc.selection.size())};
    if (const int index = handled_layer(bench_.composition); index >= 0) {
      const ksn::track_info& track = doc.track_at(index);
      const render::frame_view view = preview_view(bench_);
      press.brush = press.selected == 1 && ksn::has_canvas(track);
      press.over_crop = track.placement.crop && holds(render::crop_place(track, view), point);
      press.over_layer = press.selected == 1 && holds(render::picture_place(track, view), point);
    }
    return choose_gesture(press);
  }
  void edit_text(math::point point) {
    const ksn::track_info* track = bench_.composition.doc.selected_track();
    if (!track || track->source.type != ksn::source_type::text) return;
    if (!holds(render::picture_place(*track, preview_view(bench_)), point)) return;
    bench_.run("edit_text");
  }
};

}  // namespace

std::shared_ptr<ui_object> make_preview(workbench& bench) {
  return std::make_shared<preview>(bench);
}

}  // namespace ui
