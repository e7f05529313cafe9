// The box with a few words under the pointer.
#pragma once

#include <string>

#include "ui/toolkit/painter.h"

namespace ui {

// Draws the tip below and to the right of the pointer, moved so far that it lies inside the picture.
void draw_tip(painter& on, const std::string& text, math::point pointer);

// Where the box of a tip of that size lies in a window of that size.
rectangle tip_box(math::point text_size, math::point pointer, math::point window, int scale);

}  // namespace ui
