#include "ui/preview/brush_drags.h"

#include <algorithm>
#include <cmath>

#include "render/brush/stroke.h"
#include "ui/picture_color.h"
#include "ui/preview/view_drags.h"
#include "ui/toolkit/painter.h"
#include "ui/toolkit/tip.h"

namespace ui {
namespace {

constexpr lib::color shown_brush{255, 251, 174, 23};

// The middle of a pixel, which is what a pointer points at.
math::pointd middle_of(math::point point) {
  return {point.x + 0.5, point.y + 0.5};
}

class paint_drag : public drag_handler {
 public:
  paint_drag(workbench& bench, render::brush_stamps& stamps, bool erase)
      : bench_(bench), stamps_(stamps), erase_(erase) {}
  void begin(math::point point) override {
    if (bench_.composition.doc.playing) bench_.run("toggle_pause");
    stroke_ = render::brush_stroke::begin(bench_.composition, stamps_, preview_view(bench_), middle_of(point), erase_,
                                          bench_.input.pressure());
  }
  void move(math::point point) override {
    if (stroke_) stroke_->extend(preview_view(bench_), middle_of(point), bench_.input.pressure());
  }
  void end(math::point) override {
    if (stroke_) stroke_->end();
  }
  void cancel() override {
    if (stroke_) stroke_->cancel();
  }
  cursor_shape get_cursor(math::point) override { return cursor_shape::cross; }

 private:
  workbench& bench_;
  render::brush_stamps& stamps_;
  bool erase_;
  std::unique_ptr<render::brush_stroke> stroke_;
};

class brush_size_drag : public drag_handler {
 public:
  brush_size_drag(workbench& bench, render::brush_stamps& stamps)
      : bench_(bench),
        stamps_(stamps),
        before_{bench.composition.workspace.brush_size, bench.composition.workspace.brush_softness} {}
  void begin(math::point point) override { from_ = point; }
  void move(math::point point) override { set(render::dragged_brush(before_, {point.x - from_.x, point.y - from_.y})); }
  void end(math::point) override {}
  void cancel() override { set(before_); }
  cursor_shape get_cursor(math::point) override { return cursor_shape::size_horizontal; }
  void draw(math::point point, painter& on) override {
    const ksn::workspace& workspace = bench_.composition.workspace;
    draw_brush(on.target());
    draw_tip(on,
             bench_.text("pv_hint_softness") + "\n" + std::to_string(workspace.brush_size) + " px  " +
                 std::to_string(workspace.brush_softness) + "%",
             point);
  }

 private:
  workbench& bench_;
  render::brush_stamps& stamps_;
  render::brush_shape before_;
  math::point from_;

  void set(const render::brush_shape& shape) {
    ksn::workspace& workspace = bench_.composition.workspace;
    if (workspace.brush_size == shape.size && workspace.brush_softness == shape.softness) return;
    workspace.brush_size = shape.size;
    workspace.brush_softness = shape.softness;
    bench_.composition.touch();
  }
  // The stamp as large as it paints, around the press.
  void draw_brush(img::image& target) {
    const ksn::workspace& workspace = bench_.composition.workspace;
    const img::image& stamp = stamps_.stamp({workspace.brush_size, workspace.brush_softness}, 2, 2);
    const render::frame_view view = preview_view(bench_);
    const double half_x = (workspace.brush_size + 3) * view.zoom_x / 2;
    const double half_y = (workspace.brush_size + 3) * view.zoom_y / 2;
    const std::uint8_t color[3] = {shown_brush.b, shown_brush.g, shown_brush.r};
    const int top = std::max(static_cast<int>(from_.y - half_y), 0);
    const int bottom = std::min(static_cast<int>(from_.y + half_y) + 1, std::min(view.height, target.height));
    const int left = std::max(static_cast<int>(from_.x - half_x), 0);
    const int right = std::min(static_cast<int>(from_.x + half_x) + 1, target.width);
    for (int y = top; y < bottom; ++y) {
      const int row = stamp.user[0].y + static_cast<int>(std::floor((y - from_.y) / view.zoom_y + 0.5));
      if (row < 0 || row >= stamp.height) continue;
      for (int x = left; x < right; ++x) {
        const int column = stamp.user[0].x + static_cast<int>(std::floor((x - from_.x) / view.zoom_x + 0.5));
        if (column < 0 || column >= stamp.width) continue;
        const int coverage = stamp.row(0, row)[column];
        for (int p = 0; p < 3; ++p) {
          std::uint8_t& sample = target.row(p, y)[x];
          sample = static_cast<std::uint8_t>(sample + (color[p] - sample) * coverage / 255);
        }
      }
    }
  }
};

class brush_color_drag : public drag_handler {
 public:
  explicit brush_color_drag(workbench& bench) : bench_(bench), before_(bench.composition.workspace.brush_color) {}
  void begin(math::point point) override { take(point); }
  void move(math::point point) override { take(point); }
  void end(math::point point) override { take(point); }
  void cancel() override { set(before_); }
  cursor_shape get_cursor(math::point) override { return cursor_shape::pick; }

 private:
  workbench& bench_;
  lib::color before_;
  math::point taken_{-1, -1};

  void take(math::point point) {
    if (point.y < 0 || point.y >= bench_.layout().split || point == taken_) return;
    taken_ = point;
    lib::color color = color_at(bench_, point);
    color.a = before_.a;
    set(color);
  }
  void set(lib::color color) {
    if (bench_.composition.workspace.brush_color == color) return;
    bench_.composition.workspace.brush_color = color;
    bench_.composition.touch();
  }
};

}  // namespace

std::shared_ptr<drag_handler> make_paint_drag(workbench& bench, render::brush_stamps& stamps, bool erase) {
  return std::make_shared<paint_drag>(bench, stamps, erase);
}

std::shared_ptr<drag_handler> make_brush_size_drag(workbench& bench, render::brush_stamps& stamps) {
  return std::make_shared<brush_size_drag>(bench, stamps);
}

std::shared_ptr<drag_handler> make_brush_color_drag(workbench& bench) {
  return std::make_shared<brush_color_drag>(bench);
}

}  // namespace ui
