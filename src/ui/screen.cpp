#include "ui/screen.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "render/image_pool.h"
#include "save/preview_view.h"

namespace ui {
namespace {

int scaled(int size, double factor) {
  return static_cast<int>(std::min(std::ceil(size * factor), 65535.0));
}

// With room below for the strip where the picture can be made where it is shown.
render::frame_view screen_view(const ksn::state& composition, int client_width, int client_height,
                               render::composite_probe* probe) {
  render::frame_view view = save::preview_view(composition, client_width, client_height);
  view.probe = probe;
  if (view.eyes != ksn::target_view_type::both) view.room_below = std::max(client_height - view.height, 0);
  return view;
}

}  // namespace

void draw_screen(render::pipeline& pipeline, const ksn::state& composition, double time, img::image& target,
                 int client_width, int client_height, render::frame_times* times, render::composite_probe* probe,
                 render::frame_ahead* ahead) {
  const render::frame_view view = screen_view(composition, client_width, client_height, probe);
  const int strip = std::max(client_height - view.height, 0);
  if (view.room_below == strip) {
    render::render_frame(pipeline, composition, target, view, time, times, ahead);
  } else {
    const img::image_ptr preview = render::empty_image();
    render::render_frame(pipeline, composition, *preview, view, time, times, ahead);
    const img::image_ptr whole = render::pooled_image("BGRAZ", view.width, client_height);
    const std::size_t above = img::plane_bytes(8, view.width, view.height);
    for (int plane = 0; plane < 3; ++plane) std::memcpy(whole->row(plane, 0), preview->row(plane, 0), above);
    target.swap(*whole);
  }
}

void make_screen_ahead(render::pipeline& pipeline, const ksn::state& composition, double time, int client_width,
                       int client_height, render::composite_probe* probe, render::frame_ahead& ahead) {
  render::make_ahead(pipeline, composition, screen_view(composition, client_width, client_height, probe), time, ahead);
}

namespace {

// Of all visible layers, or with none of the output, at a zoom of the view.
math::point picture_size(const ksn::state& composition, double zoom_x, double zoom_y) {
  math::point size;
  for (const ksn::track_info& track : composition.doc.tracks) {
    if (!track.look.visible || track.source.width <= 0 || track.source.height <= 0) continue;
    const render::layer_geometry scale = render::layer_scale(track, zoom_x, zoom_y, ksn::cache_resolution_type::full);
    size.x = std::max(size.x, scaled(track.source.width, static_cast<double>(scale.num_x) / std::max(scale.den_x, 1)));
    size.y = std::max(size.y, scaled(track.source.height, static_cast<double>(scale.num_y) / std::max(scale.den_y, 1)));
  }
  if (size.x > 0 && size.y > 0) return size;
  return {scaled(composition.doc.mask_size.x, zoom_x), scaled(composition.doc.mask_size.y, zoom_y)};
}

}  // namespace

math::point client_size_to_fit(const ksn::state& composition) {
  const math::point size = picture_size(composition, composition.view.zoom(), composition.view.zoom_factor2 / 100.0);
  // The strip's height depends on the client's.
  int height = size.y;
  while (free_preview(composition, size.x, height).y < size.y && height < 2 * 65535) ++height;
  return {size.x, height};
}

void fit_zoom(ksn::state& composition, math::point picture, math::point area) {
  const double across = area.x / (std::max(picture.x, 1) * composition.view.view_pixel_aspect());
  const double down = static_cast<double>(area.y) / std::max(picture.y, 1);
  composition.view.zoom_factor2 = std::max(static_cast<int>(std::min(across, down) * 100.0), 1);
  composition.view.pan_position = {};
}

math::point free_preview(const ksn::state& composition, int client_width, int client_height) {
  const render::frame_view view = save::preview_view(composition, client_width, client_height);
  const int covered = composition.workspace.shown_infobar() ? 2 * infobar_height * composition.interface_scale : 0;
  return {view.width, std::max(view.height - covered, 1)};
}

void fit_picture(ksn::state& composition, int client_width, int client_height) {
  fit_zoom(composition, picture_size(composition, 1.0, 1.0), free_preview(composition, client_width, client_height));
}

void fit_output(ksn::state& composition, int client_width, int client_height) {
  fit_zoom(composition, composition.doc.mask_size, free_preview(composition, client_width, client_height));
}

void fit_first_layer(ksn::state& composition, int client_width, int client_height) {
  fit_picture(composition, client_width, client_height);
  composition.view.zoom_factor2 = std::min(composition.view.zoom_factor2, 100);
}

}  // namespace ui
