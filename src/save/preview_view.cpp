#include "save/preview_view.h"

#include <algorithm>
#include <cmath>

#include "composition/window_layout.h"

namespace save {

render::frame_view preview_view(const ksn::state& composition, const ksn::view& shown, int client_width,
                                int client_height) {
  render::frame_view view = render::output_view(composition.doc, shown);
  view.width = std::max(1, client_width);
  view.height = std::max(1, ksn::layout_window(composition, {client_width, client_height}).split);
  view.zoom_x = shown.zoom();
  view.zoom_y = shown.zoom_factor2 / 100.0;
  view.offset = {render::limited(std::rint(shown.pan_position.x * view.zoom_x)),
                 render::limited(std::rint(shown.pan_position.y * view.zoom_y))};
  view.resolution = shown.resolution;
  view.channels = shown.channels;
  view.crop_preview = true;
  view.for_display = true;
  if (shown.safe_area_active) {
    view.marks = {shown.mask_type, shown.safe_area_type, shown.mask_transforms_enabled, false};
  }
  view.marks.grid = shown.grid;
  view.smooth = shown.filter == ksn::view_filter_type::automatic ? composition.has_window
                                                                 : shown.filter == ksn::view_filter_type::smooth;
  if (composition.plain_sampling) view.smooth = false;
  view.correction = shown.tf;
  return view;
}

render::frame_view saved_screen(const ksn::state& composition, int client_width, int client_height) {
  render::frame_view view = preview_view(composition, client_width, client_height);
  view.counter = composition.workspace.shown_infobar() && composition.doc.track_count() > 0;
  return view;
}

}  // namespace save
