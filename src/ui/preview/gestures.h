// Which gesture a press in the preview begins, and what lies where: decided from plain values, before anything moves.
#pragma once

#include <array>

#include "composition/state.h"
#include "platform/desktop.h"
#include "render/compositor.h"

namespace ui {

using math::rectangle;

// --- the boxes of layers, in pixels of the window ---

// The layer that handles and the double click belong to: the first one that is selected, -1 for none.
int handled_layer(const ksn::state& composition);

// The topmost layer whose picture lies under the point: visible or handled_layer(), and at least 3 pixels wide and
// high. -1 for none.
int layer_at(const ksn::state& composition, const render::frame_view& view, math::point point);

// --- handles ---

// A corner or a side of a box: 0 is left and top, 1 the middle, 2 right and bottom.
struct handle {
  enum class box_kind { none, layer, crop };
  box_kind of = box_kind::none;
  int across = 1;
  int down = 1;
  bool operator==(const handle&) const = default;
};

constexpr int least_box = 15;  // a layer that is smaller on the screen has no handles

// How far handles reach along the sides of a box of that size, in pixels at scale 1: 20, 10 or 5.
int handle_length(int width, int height);

// The handle at a point: of the layer's box, then of its crop rectangle when that is not null. Distances are doubled at
// a scale of 2.
handle find_handle(const rectangle& box, const rectangle* crop, math::point point, int scale);

// --- gestures ---

enum class gesture {
  none,
  crop,             // moves the crop rectangle
  layers,           // moves the selected layers
  layers_at_point,  // selects the layer under the point, then moves it
  pan,
  zoom,
  zoom_at_point,  // keeps what is under the press in its place
  scrub,          // moves the time, or is a flick
  area,           // tells of the pixels of an area
  paint,
  erase,
  brush_size,
  brush_color
};

struct press {
  platform::mouse_button button = platform::mouse_button::left;
  int modifiers = 0;        // platform::key_shift and the others
  int selected = 0;         // layers
  bool brush = false;       // the only selected layer can be painted on
  bool over_crop = false;   // the selected layer is cropped, and the point lies inside the crop
  bool over_layer = false;  // the point lies on the box of the only selected layer
};

gesture choose_gesture(const press& press);

}  // namespace ui
