// The gestures of the ruler.
#pragma once

#include <memory>

#include "ui/area.h"
#include "ui/timeline/ruler_scale.h"

namespace ui {

// Null where that button starts no gesture. Left: what the region stands for; middle on the work area: all of it.
std::shared_ptr<drag_handler> make_ruler_drag(workbench& bench, ruler_region region, mouse_button button);

}  // namespace ui
