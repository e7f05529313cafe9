// The gestures of the layer stack.
#pragma once

#include <functional>
#include <memory>

#include "ui/area.h"
#include "ui/timeline/row_layout.h"

namespace ui {

// Makes a layer the only selected one, unless it is selected already.
void select_for_gesture(ksn::document& doc, int index);

// Null where that region starts no gesture. `index` is the layer's; `layer_at` gives the layer in the row of a point,
// -1 for none.
std::shared_ptr<drag_handler> make_track_drag(workbench& bench, row_region region, int index,
                                              std::function<int(math::point)> layer_at);

}  // namespace ui
