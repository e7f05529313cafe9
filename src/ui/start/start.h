// What stands in a window without layers: what the program is, three ways to go on, and what was open lately.
#pragma once

#include <memory>

#include "ui/area.h"

namespace ui {

// Counts from the middle of the preview area. A click on a recent source adds it.
std::shared_ptr<ui_object> make_start(workbench& bench);

}  // namespace ui
