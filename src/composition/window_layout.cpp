#include "composition/window_layout.h"

#include <algorithm>

namespace ksn {

window_layout layout_window(const state& composition, math::point size, int scale) {
  window_layout result{size, scale, -1, size.y};
  const bool timeline = composition.workspace.full_screen ? composition.workspace.fs_timeline_visible
                                                          : composition.workspace.timeline_visible;
  if (timeline) {
    result.rows = std::min({(size.y - strip_height * scale) / (layer_row_height * scale),
                            composition.workspace.track_max, composition.doc.track_count()});
  }
  if (result.rows >= 0) {
    result.split = size.y - (layer_row_height * result.rows + strip_height) * scale;
  } else {
    result.rows = -1;
    if (!composition.workspace.full_screen) result.split = size.y - bottom_strip_height * scale;
  }
  return result;
}

}  // namespace ksn
