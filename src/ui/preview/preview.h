// The picture under the pointer: panning, zooming, and the way to a first layer.
#pragma once

#include <memory>

#include "ui/area.h"

namespace ui {

// The middle button, or the left one with Alt, moves the picture; the wheel zooms, with Ctrl around the pointer; a
// double click asks for a layer. The picture itself is drawn by draw_screen() before all areas.
std::shared_ptr<ui_object> make_preview(workbench& bench);

}  // namespace ui
