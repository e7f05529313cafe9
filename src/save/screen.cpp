#include "save/screen.h"

#include <algorithm>
#include <cmath>

namespace save {
namespace {

constexpr int row_height = 20;       // of a layer
constexpr int timeline_height = 74;  // with options and controls
constexpr int bottom_strip = 3;      // of a window without a timeline

// The height of the preview area.
int split_line(const ksn::state& composition, int height) {
  const bool timeline = composition.workspace.full_screen ? composition.workspace.fs_timeline_visible
                                                          : composition.workspace.timeline_visible;
  const int rows = timeline ? std::min({(height - timeline_height) / row_height, composition.workspace.track_max,
                                        composition.doc.track_count()})
                            : -1;
  if (rows >= 0) return height - row_height * rows - timeline_height;
  return composition.workspace.full_screen ? height : height - bottom_strip;
}

}  // namespace

render::frame_view screen_view(const ksn::state& composition, int client_width, int client_height) {
  render::frame_view view;
  view.width = std::max(1, client_width);
  view.height = std::max(1, split_line(composition, client_height));
  view.zoom_x = composition.view.zoom();
  view.zoom_y = composition.view.zoom_factor2 / 100.0;
  view.offset = {render::limited(std::rint(composition.view.pan_position.x * view.zoom_x)),
                 render::limited(std::rint(composition.view.pan_position.y * view.zoom_y))};
  view.resolution = composition.view.resolution;
  view.crop_preview = true;
  view.for_display = true;
  return view;
}

}  // namespace save
