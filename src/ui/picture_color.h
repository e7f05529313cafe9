// What colour the picture has, for whatever picks one.
#pragma once

#include "lib/color.h"
#include "lib/point.h"
#include "ui/area.h"

namespace ui {

// The colour of the composite under a point of the window, opaque: the same that the picture shows, without the view's
// channels, correction and marks. Renders that one pixel.
lib::color color_at(workbench& bench, math::point point);

}  // namespace ui
