#include "render/fitted.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "render/image_pool.h"

namespace render {

frame_view fitted_view(const ksn::state& composition, math::point size) {
  frame_view view = output_view(composition.doc, composition.view);
  const double aspect = composition.view.view_pixel_aspect();
  const double across = size.x / (std::max(view.width, 1) * aspect);
  const double down = static_cast<double>(size.y) / std::max(view.height, 1);
  view.zoom_y = std::min(across, down);
  view.zoom_x = view.zoom_y * aspect;
  view.width = std::clamp(static_cast<int>(std::rint(view.width * view.zoom_x)), 1, size.x);
  view.height = std::clamp(static_cast<int>(std::rint(view.height * view.zoom_y)), 1, size.y);
  view.resolution = composition.view.resolution;
  view.smooth = composition.view.filter != ksn::view_filter_type::nearest && !composition.plain_sampling;
  view.correction = composition.view.tf;
  return view;
}

img::image_ptr render_fitted(pipeline& pipeline, const ksn::state& composition, math::point size, double time) {
  const frame_view view = fitted_view(composition, size);
  const img::image_ptr inside = empty_image();
  render_frame(pipeline, composition, *inside, view, time);
  if (view.width == size.x && view.height == size.y) return inside;
  const img::image_ptr whole = pooled_image("BGR", size.x, size.y);
  const lib::color around = composition.doc.resolved_back_color();
  whole->fill(around.b, around.g, around.r, 255);
  const int left = (size.x - view.width) / 2;
  const int top = (size.y - view.height) / 2;
  for (int plane = 0; plane < 3; ++plane) {
    for (int y = 0; y < view.height; ++y) {
      std::memcpy(whole->row(plane, top + y) + left, inside->row(plane, y), static_cast<std::size_t>(view.width));
    }
  }
  return whole;
}

}  // namespace render
