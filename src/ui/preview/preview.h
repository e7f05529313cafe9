// The picture under the pointer: time, view, layers and their crops by gestures; tips; the information bar.
#pragma once

#include <memory>

#include "ui/area.h"

namespace ui {

// The picture itself is drawn by draw_screen() before all areas. Which gesture does what: gestures.h.
std::shared_ptr<ui_object> make_preview(workbench& bench);

}  // namespace ui
