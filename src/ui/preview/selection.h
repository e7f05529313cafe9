// Shown while layers can be taken hold of: their boxes, their handles and their numbers.
#pragma once

#include <string>

#include "ui/area.h"
#include "ui/toolkit/painter.h"

namespace ui {

// Whether layers are taken hold of: Shift is held, or Caps Lock is on.
bool takes_hold(const workbench& bench);

// The boxes of the selected layers, with handles around the only one and around its crop.
void draw_selection(painter& on, workbench& bench);

// A layer in words: name, size, pixel aspect where it is not 1, scale; and its position in a second line.
std::string describe_layer(const ksn::track_info& track);

// The box and the words of the layer under the pointer, and where the pointer is in the composition, from its centre.
void draw_layer_under_pointer(painter& on, workbench& bench);

}  // namespace ui
