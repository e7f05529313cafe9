// The gestures of the layer stack.
#pragma once

#include <memory>

#include "ui/area.h"
#include "ui/timeline/row_layout.h"
#include "ui/timeline/row_view.h"

namespace ui {

// Makes a layer the only selected one, unless it is selected already.
void select_for_gesture(ksn::document& doc, int index);

// Null where that region starts no gesture. `index` is the layer's.
std::shared_ptr<drag_handler> make_track_drag(workbench& bench, row_region region, int index, const row_view& rows);

}  // namespace ui
