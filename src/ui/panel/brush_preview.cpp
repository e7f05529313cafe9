// The brush as it paints, in its colour over the panel.
#include <algorithm>

#include "render/brush/stamp.h"
#include "ui/panel/cells.h"
#include "ui/toolkit/palette.h"

namespace ui::panel {
namespace {

class brush_preview : public ui_object, public null_mouse_handler {
 public:
  brush_preview(workbench& bench, widget_box box) : bench_(bench), box_(box) {}

  mouse_handler* hit_test(math::point point, const place& at) override {
    return box_.holds(point, at) ? this : nullptr;
  }
  std::string get_tool_tip(math::point) override { return bench_.text("panel.brush_preview_hint"); }

  void draw(painter& on, const place& at) override {
    const rectangle box = box_.in(at);
    on.round_fill(box, on.px(palette::field_radius), palette::field);
    on.round_frame(box, on.px(palette::field_radius), palette::field_rim);
    const ksn::workspace& workspace = bench_.composition.workspace;
    // A brush that is larger than the field fills it.
    const int size = std::min(workspace.brush_size, 2 * (box.right - box.left));
    const img::image& stamp = stamps_.stamp({size, workspace.brush_softness}, 0, 0);
    const rectangle before = on.set_clip(math::intersect(on.clip(), box));
    const math::point corner{(box.left + box.right) / 2 - stamp.user[0].x,
                             (box.top + box.bottom) / 2 - stamp.user[0].y};
    const rectangle seen =
        math::intersect(on.clip(), {corner.x, corner.y, corner.x + stamp.width, corner.y + stamp.height});
    for (int y = seen.top; y < seen.bottom; ++y) {
      const std::uint8_t* row = stamp.row(0, y - corner.y);
      for (int x = seen.left; x < seen.right; ++x) {
        lib::color color = workspace.brush_color;
        color.a = static_cast<std::uint8_t>(color.a * row[x - corner.x] / 255);
        if (color.a > 0) on.fill({x, y, x + 1, y + 1}, color);
      }
    }
    on.set_clip(before);
  }

 private:
  workbench& bench_;
  widget_box box_;
  render::brush_stamps stamps_;
};

}  // namespace

std::shared_ptr<ui_object> make_brush_preview(const binding& bound, const widget_box& box) {
  return std::make_shared<brush_preview>(bound.bench, box);
}

}  // namespace ui::panel
