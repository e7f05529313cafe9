#include "ui/preview/preview.h"

#include <cstdlib>

#include "save/screen.h"

namespace ui {
namespace {

// Moves the picture with the pointer.
class pan_drag : public drag_handler {
 public:
  explicit pan_drag(ksn::state& composition) : composition_(composition), before_(composition.view.pan_position) {}
  void begin(math::point point) override { from_ = point; }
  void move(math::point point) override {
    composition_.view.pan_position = {before_.x + (point.x - from_.x) / composition_.view.zoom(),
                                      before_.y + (point.y - from_.y) * 100.0 / composition_.view.zoom_factor2};
  }
  void end(math::point) override {}
  void cancel() override { composition_.view.pan_position = before_; }
  cursor_shape get_cursor(math::point) override { return cursor_shape::move; }

 private:
  ksn::state& composition_;
  math::pointd before_;
  math::point from_;
};

class preview : public ui_object, public mouse_handler {
 public:
  explicit preview(workbench& bench) : bench_(bench) {}

  mouse_handler* hit_test(math::point point, const place&) override {
    return point.y < bench_.layout().split ? this : nullptr;
  }
  void draw(painter&, const place&) override {}

  press_result mouse_down(mouse_button button, math::point, bool double_click) override {
    const int held = bench_.input.modifiers();
    const bool alt = (held & platform::key_alt) != 0;
    const bool pans = !double_click && !(held & platform::key_shift) &&
                      ((button == mouse_button::middle && !alt) ||
                       (button == mouse_button::left && alt && !(held & platform::key_ctrl)));
    return pans ? press_result::drag : press_result::click;
  }
  std::shared_ptr<drag_handler> get_drag_handler(mouse_button, math::point) override {
    return std::make_shared<pan_drag>(bench_.composition);
  }
  void mouse_up(mouse_button button, math::point, bool double_click) override {
    const int held = bench_.input.modifiers() & (platform::key_shift | platform::key_alt);
    if (double_click && button == mouse_button::left && held == 0) bench_.run("add_layer");
  }
  void wheel(int axis, int steps, math::point point) override {
    if (axis != 0) return;
    ksn::state& composition = bench_.composition;
    const math::point size = bench_.layout().size;
    const render::frame_view view = save::screen_view(composition, size.x, size.y);
    const math::point from_centre{point.x - view.width / 2, point.y - view.height / 2};
    const math::pointd before{from_centre.x / view.zoom_x, from_centre.y / view.zoom_y};
    for (int i = 0; i < std::abs(steps); ++i) {
      steps > 0 ? composition.view.increase_zoom_factor() : composition.view.decrease_zoom_factor();
    }
    if (bench_.input.modifiers() & platform::key_ctrl) {
      composition.view.pan_position.x += from_centre.x / composition.view.zoom() - before.x;
      composition.view.pan_position.y += from_centre.y * 100.0 / composition.view.zoom_factor2 - before.y;
    }
  }

 private:
  workbench& bench_;
};

}  // namespace

std::shared_ptr<ui_object> make_preview(workbench& bench) {
  return std::make_shared<preview>(bench);
}

}  // namespace ui
