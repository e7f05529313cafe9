#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "ui/strips/strips.h"
#include "ui/toolkit/painter.h"
#include "ui/toolkit/palette.h"

namespace ui {
namespace {

constexpr int reach = 3;  // pixels at scale 1: nearer than this to the line is on it

// Sets the number of layer rows from how far the line is dragged.
class track_max_drag_handler : public drag_handler {
 public:
  explicit track_max_drag_handler(workbench& bench)
      : bench_(bench), before_(bench.composition.workspace.track_max), rows_(std::max(bench.layout().rows, 0)) {}
  void begin(math::point point) override { from_ = point.y; }
  void move(math::point point) override {
    const int height = ksn::layer_row_height * bench_.layout().scale;
    const int by = static_cast<int>(std::rint(static_cast<double>(from_ - point.y) / height));
    const int most = std::max(bench_.composition.doc.track_count(), 0);
    bench_.composition.workspace.track_max = by == 0 ? before_ : std::clamp(rows_ + by, 0, most);
  }
  void end(math::point) override {}
  void cancel() override { bench_.composition.workspace.track_max = before_; }
  cursor_shape get_cursor(math::point) override { return cursor_shape::size_vertical; }

 private:
  workbench& bench_;
  int before_;
  int rows_;  // at the start
  int from_ = 0;
};

class track_max_mouse_handler : public mouse_handler {
 public:
  explicit track_max_mouse_handler(workbench& bench) : bench_(bench) {}
  press_result mouse_down(mouse_button button, math::point, bool) override {
    return button == mouse_button::left ? press_result::drag_after_movement : press_result::click;
  }
  std::shared_ptr<drag_handler> get_drag_handler(mouse_button, math::point) override {
    if (!bench_.layout().timeline_shown()) return {};
    return std::make_shared<track_max_drag_handler>(bench_);
  }
  void mouse_up(mouse_button button, math::point, bool double_click) override {
    if (button != mouse_button::left || !double_click) return;
    bench_.run(bench_.layout().timeline_shown() ? "toggle_layer_stack" : "toggle_timeline");
  }
  cursor_shape get_cursor(math::point) override {
    return bench_.layout().timeline_shown() ? cursor_shape::size_vertical : cursor_shape::arrow;
  }
  std::string get_tool_tip(math::point) override {
    return bench_.layout().timeline_shown() ? tip_text(bench_, "track_max_mouse_handler", "toggle_layer_stack")
                                            : tip_text(bench_, "track_max_mouse_handler_hidden", "toggle_timeline");
  }

 private:
  workbench& bench_;
};

class splitter : public ui_object {
 public:
  explicit splitter(workbench& bench) : bench_(bench), handler_(bench) {}
  mouse_handler* hit_test(math::point point, const place& at) override {
    return std::abs(point.y - at.origin.y) < reach * at.scale ? &handler_ : nullptr;
  }
  void draw(painter& on, const place& at) override {
    const int split = at.origin.y;
    // Layer rows cover all that is below the strips.
    const int bottom = bench_.layout().rows > 0 ? at.at(0, ksn::strip_height).y : at.size.y;
    on.fill({0, split + on.px(2), at.size.x, bottom}, palette::strip);
    on.fill({0, split, at.size.x, split + on.px(1)}, palette::rule_dark);
    on.fill({0, split + on.px(1), at.size.x, split + on.px(2)}, palette::rule_light);
  }

 private:
  workbench& bench_;
  track_max_mouse_handler handler_;
};

}  // namespace

std::shared_ptr<ui_object> make_splitter(workbench& bench) {
  return std::make_shared<splitter>(bench);
}

}  // namespace ui
