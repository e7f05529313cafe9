#include "ui/skin/drawing.h"

#include <utility>

#include "text/draw.h"

namespace ui {

const skin& skins::loaded(int scale) {
  const std::size_t index = scale >= 2 ? 1 : 0;
  if (!std::exchange(tried_[index], true)) bundles_[index].load_for_scale(scale, errors_[index]);
  return bundles_[index];
}

const img::image* skins::image(std::string_view name, int scale) {
  const std::lock_guard guard(lock_);
  const skin& bundle = loaded(scale);
  const std::string error = std::exchange(errors_[scale >= 2 ? 1 : 0], {});
  if (!error.empty() && report_) report_(error);
  return bundle.image(name);
}

void skins::prepare(int scale) {
  const std::lock_guard guard(lock_);
  loaded(scale);
}

drawing_functions drawing_with(skins& skins, text::fonts& fonts) {
  drawing_functions functions;
  functions.skin_image = [&skins](std::string_view name, int scale) { return skins.image(name, scale); };
  functions.draw_image = [](img::image& target, const img::image& image, math::point point, const rectangle* clip) {
    draw_image(target, &image, point, clip);
  };
  functions.measure_text = [&fonts](std::string_view text, int max_width, int max_lines, std::string_view font,
                                    int scale) {
    const text::extent extent =
        text::measure_text(fonts, text, max_width, max_lines, text::interface_font(font, scale));
    return math::point{extent.width, extent.height};
  };
  functions.draw_text = [&fonts](img::image& target, std::string_view text, std::string_view font, int scale,
                                 lib::color color, const text_place& place, const rectangle* clip) {
    text::placement placement;
    placement.max_width = place.max_width;
    placement.max_lines = place.max_lines;
    placement.line_gap = place.line_gap;
    placement.x_align = place.x_align;
    placement.right_align = place.right_align;
    placement.below_baseline = place.below_baseline;
    if (clip) placement.clip = *clip;
    text::draw_text(fonts, text, text::interface_font(font, scale), target, place.position, color, placement);
  };
  return functions;
}

}  // namespace ui
