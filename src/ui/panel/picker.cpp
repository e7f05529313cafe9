#include "ui/panel/picker.h"

#include <cstring>

#include "render/probe.h"
#include "save/preview_view.h"
#include "ui/picture_color.h"

namespace ui::panel {
namespace {

class picker : public ui_focus_handler, public mouse_handler {
 public:
  picker(workbench& bench, std::function<void(math::point)> picked) : bench_(bench), picked_(std::move(picked)) {}

  void key_char(char16_t) override {}
  void commit() override {}
  void cancel() override {}
  mouse_handler* handler_at(math::point) override { return this; }

  press_result mouse_down(mouse_button, math::point, bool) override { return press_result::click; }
  void mouse_up(mouse_button button, math::point point, bool) override {
    const std::shared_ptr<ui_focus_handler> kept = bench_.input.focus();
    bench_.input.drop_focus(this);
    if (button == mouse_button::left && point.y < bench_.layout().split) picked_(point);
  }
  cursor_shape get_cursor(math::point point) override {
    return point.y < bench_.layout().split ? cursor_shape::pick : cursor_shape::arrow;
  }

 private:
  workbench& bench_;
  std::function<void(math::point)> picked_;
};

}  // namespace

void pick_from_picture(workbench& bench, std::function<void(math::point)> picked) {
  bench.input.take_focus(std::make_shared<picker>(bench, std::move(picked)));
}

std::optional<img::image> source_pixel(workbench& bench, int layer, math::point at) {
  if (layer < 0) return std::nullopt;
  const math::point size = bench.layout().size;
  const render::frame_view view = save::preview_view(bench.composition, size.x, size.y);
  const auto values = render::values_at(bench.pipeline, bench.composition, view, layer, at);
  if (!values) return std::nullopt;
  const render::source_picture shown = bench.pipeline.shown_source(bench.composition.doc.track_at(layer));
  if (!shown.image) return std::nullopt;
  const img::image& from = *shown.image;
  const int reduction = render::reduction_of(shown.resolution);
  const int x = values->pixel.x / reduction;
  const int y = values->pixel.y / reduction;
  img::image pixel;
  for (int plane = 0; plane < img::image::max_planes; ++plane) {
    if (!from.has_plane(plane)) continue;
    const auto index = static_cast<std::size_t>(plane);
    if (pixel.width == 0) pixel.reset({&from.format[index], 1}, from.depth[index], 1, 1);
    pixel.set_plane(plane, from.format[index], from.depth[index]);
    const std::size_t bytes = img::plane_bytes(from.depth[index], 1, 1);
    std::memcpy(pixel.row(plane, 0),
                from.row(plane, y) + (bytes - 1) * static_cast<std::size_t>(y) * from.width +
                    bytes * static_cast<std::size_t>(x),
                bytes);
  }
  return pixel;
}

lib::color key_color_at(workbench& bench, int layer, math::point at) {
  std::optional<img::image> pixel = source_pixel(bench, layer, at);
  if (!pixel) return color_at(bench, at);
  const img::correction& own = bench.composition.doc.track_at(layer).look.tf;
  img::correction plain;
  plain.color_space = own.color_space;
  plain.lookup = own.lookup;
  plain.lookup_table = own.lookup_table;
  img::image shown;
  img::transfer(plain).convert(shown, *pixel,
                               bench.pipeline.shown_source(bench.composition.doc.track_at(layer)).after_cube);
  const auto sample = [&](int plane) { return shown.row(shown.has_plane(2) ? plane : 0, 0)[0]; };
  return {255, sample(2), sample(1), sample(0)};
}

}  // namespace ui::panel
