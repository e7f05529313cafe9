#include "ui/picture_color.h"

#include "save/preview_view.h"

namespace ui {

lib::color color_at(workbench& bench, math::point point) {
  const math::point size = bench.layout().size;
  const render::frame_view shown = save::preview_view(bench.composition, size.x, size.y);
  render::frame_view view = shown;
  view.width = view.height = 1;
  view.offset = {shown.offset.x + shown.width / 2 - point.x, shown.offset.y + shown.height / 2 - point.y};
  view.view_origin = point;
  view.for_display = view.crop_preview = false;
  view.marks = {};
  view.channels = ksn::view_type::rgb;
  view.correction = {};
  img::image pixel;
  render::render_frame(bench.pipeline, bench.composition, pixel, view, bench.clock.shown_time());
  return {255, pixel.row(2, 0)[0], pixel.row(1, 0)[0], pixel.row(0, 0)[0]};
}

}  // namespace ui
