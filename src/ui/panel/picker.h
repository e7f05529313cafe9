// A click on the picture that gives a colour.
#pragma once

#include <functional>
#include <optional>

#include "img/transfer.h"
#include "ui/area.h"

namespace ui::panel {

// The next click on the picture calls `picked` with its point. Escape, a right click and a click elsewhere call
// nothing.
void pick_from_picture(workbench& bench, std::function<void(math::point at)> picked);

// The one pixel of a layer's source that is drawn at a point of the client area, in the form of the source; from memory
// alone. Nothing where the layer is not.
std::optional<img::image> source_pixel(workbench& bench, int layer, math::point at);

// The colour that a layer's colour keys would see at a point: that of the source as it is shown without a correction.
// Where the layer is not, the picture's.
lib::color key_color_at(workbench& bench, int layer, math::point at);

}  // namespace ui::panel
