#include "ui/preview/pixel_tip.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>

#include "ui/preview/view_drags.h"
#include "ui/toolkit/palette.h"
#include "ui/toolkit/tip.h"

namespace ui {
namespace {

// In pixels of the composition from its upper left corner.
math::point in_output(const ksn::state& composition, const render::frame_view& view, math::point point) {
  const auto at = [](int from_centre, double zoom, double pan, int size) {
    return static_cast<int>(std::floor(from_centre / zoom - pan)) + size / 2;
  };
  const math::pointd& pan = composition.view.pan_position;
  return {at(point.x - view.width / 2, view.zoom_x, pan.x, composition.doc.mask_size.x),
          at(point.y - view.height / 2, view.zoom_y, pan.y, composition.doc.mask_size.y)};
}

class area_drag : public drag_handler {
 public:
  explicit area_drag(workbench& bench) : bench_(bench) {}
  void begin(math::point point) override {
    from_ = point;
    layer_ = render::picture_under(bench_.pipeline, bench_.composition, preview_view(bench_), point);
  }
  void move(math::point point) override {
    const rectangle now{std::min(from_.x, point.x), std::min(from_.y, point.y), std::max(from_.x, point.x) + 1,
                        std::max(from_.y, point.y) + 1};
    if (now == box_ || layer_ < 0 || layer_ >= bench_.composition.doc.track_count()) return;
    box_ = now;
    const std::optional<render::area_statistics> area =
        render::statistics_over(bench_.pipeline, bench_.composition, preview_view(bench_), layer_, box_);
    text_ = area ? area_text(*area) : std::string();
  }
  void end(math::point) override {}
  void cancel() override {}
  cursor_shape get_cursor(math::point) override { return cursor_shape::cross; }
  void draw(math::point point, painter& on) override {
    on.frame(box_, palette::live);
    if (!text_.empty()) draw_tip(on, text_, point);
  }

 private:
  workbench& bench_;
  math::point from_;
  int layer_ = -1;
  rectangle box_;
  std::string text_;
};

}  // namespace

std::array<double, 3> hue_saturation_value(const std::array<std::uint8_t, 4>& rgba) {
  const double red = rgba[0] / 255.0, green = rgba[1] / 255.0, blue = rgba[2] / 255.0;
  const double most = std::max({red, green, blue});
  const double range = most - std::min({red, green, blue});
  double hue = 0;
  if (range > 0) {
    if (most == red) {
      hue = (green - blue) / range;
    } else if (most == green) {
      hue = 2 + (blue - red) / range;
    } else {
      hue = 4 + (red - green) / range;
    }
    hue = hue < 0 ? (hue + 6) * 60 : hue * 60;
  }
  return {hue, most > 0 ? range / most : 0, most};
}

std::string pixel_text(workbench& bench, math::point point) {
  const ksn::state& composition = bench.composition;
  if (composition.doc.playing || composition.doc.track_count() == 0) return {};
  render::composite_probe& composite = bench.composite;
  if (composite.at != point) {
    composite = {.at = point};
    bench.input.ask_redraw();
    return {};
  }
  if (!composite.inside) return {};
  const render::frame_view view = preview_view(bench);
  const math::point place = in_output(composition, view, point);
  const std::array<std::uint8_t, 4>& c = composite.rgba;
  char text[128];
  std::snprintf(text, sizeof text, "X: %d Y: %d   RGB: %d %d %d  A: %d\n", place.x, place.y, c[0], c[1], c[2], c[3]);
  std::string words = text;
  const int layer = render::picture_under(bench.pipeline, composition, view, point);
  if (layer >= 0) {
    if (const auto values = render::values_at(bench.pipeline, composition, view, layer, point)) {
      const auto& [r, g, b, a] = values->rgba;
      std::snprintf(text, sizeof text, "R: %.4f  G: %.4f  B: %.4f  A: %.4f\n", r, g, b, a);
      words += text;
    }
  }
  const auto [hue, saturation, value] = hue_saturation_value(c);
  std::snprintf(text, sizeof text, "H: %.1f  S: %.3f  V: %.3f", hue, saturation, value);
  return words + text;
}

std::string area_text(const render::area_statistics& area) {
  char text[200];
  std::snprintf(text, sizeof text, "%d x %d", area.area.right - area.area.left, area.area.bottom - area.area.top);
  std::string words = text;
  for (std::size_t i = 0; i < (area.has_alpha ? 4u : 3u); ++i) {
    const render::channel_statistics& channel = area.rgba[i];
    std::snprintf(text, sizeof text, "\n%c: %.4f  (%.4f .. %.4f)   < 0: %lld   > 1: %lld   NaN: %lld", "RGBA"[i],
                  channel.mean, channel.least, channel.most, channel.below_zero, channel.above_one,
                  channel.not_a_number);
    words += text;
  }
  return words;
}

std::shared_ptr<drag_handler> make_area_drag(workbench& bench) {
  return std::make_shared<area_drag>(bench);
}

}  // namespace ui
