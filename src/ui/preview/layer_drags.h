// Gestures that change layers: moving, cropping, scaling and resizing them. Each is one step of undo; Escape takes it
// back.
#pragma once

#include <memory>

#include "ui/area.h"
#include "ui/preview/gestures.h"

namespace ui {

// Moves all selected layers.
std::shared_ptr<drag_handler> make_layers_drag(workbench& bench);

// Moves the crop rectangle of a layer. With Ctrl it keeps to the axis of the larger movement.
std::shared_ptr<drag_handler> make_crop_drag(workbench& bench, int layer);

cursor_shape cursor_of(const handle& handle);

// The work of a handle. Of the layer's box: changes its scale, or the size of a picture that is made inside; the other
// side stays where it is, with Alt the centre. A corner keeps the proportions, with Ctrl it does not. Of the crop
// rectangle: moves its sides.
std::shared_ptr<drag_handler> make_handle_drag(workbench& bench, int layer, const handle& handle);

}  // namespace ui
