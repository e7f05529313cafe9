// Gestures with the brush: painting and erasing, its size and softness, its colour.
#pragma once

#include <memory>

#include "render/brush/stamp.h"
#include "ui/area.h"

namespace ui {

// A stroke on the selected brush layer, one step of undo; the play stands still meanwhile. The stamps outlive it.
std::shared_ptr<drag_handler> make_paint_drag(workbench& bench, render::brush_stamps& stamps, bool erase);

// Across changes the size of the brush, down its softness; the brush is shown where the press was.
std::shared_ptr<drag_handler> make_brush_size_drag(workbench& bench, render::brush_stamps& stamps);

// The colour of the brush becomes that of the composite under the pointer; its alpha stays.
std::shared_ptr<drag_handler> make_brush_color_drag(workbench& bench);

}  // namespace ui
