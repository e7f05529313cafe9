// The first screen, shown while there are no layers: the program's name, three ways to go on, and recent work.
#pragma once

#include <memory>

#include "ui/area.h"

namespace ui {

// Counts from the middle of the preview area. A click on a recent source adds it.
std::shared_ptr<ui_object> make_start(workbench& bench);

}  // namespace ui
