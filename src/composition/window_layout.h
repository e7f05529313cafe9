// Where the parts of the window stand: plain arithmetic on the document, the client area and the scale of the
// interface.
#pragma once

#include "composition/state.h"
#include "lib/point.h"

namespace ksn {

// At scale 1, in pixels.
constexpr int layer_row_height = 20;
constexpr int strip_height = 74;        // options, controls and ruler
constexpr int bottom_strip_height = 3;  // of a window without a timeline, outside full screen

struct window_layout {
  math::point size;  // of the client area
  int scale = 1;     // of the interface, 1 or 2
  int rows = -1;     // layer rows that are shown; -1 while the timeline is hidden or has no room
  int split = 0;     // where the preview ends; everything below belongs to the other areas

  bool timeline_shown() const { return rows >= 0; }
  // The origin of the areas below the split.
  math::point split_middle() const { return {size.x / 2, split}; }
  math::point preview_middle() const { return {size.x / 2, split / 2}; }
};

// `size` is the client area in pixels.
window_layout layout_window(const state& composition, math::point size, int scale);
// At the scale of the composition's window.
inline window_layout layout_window(const state& composition, math::point size) {
  return layout_window(composition, size, composition.interface_scale);
}

}  // namespace ksn
