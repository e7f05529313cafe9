// Pixel values in words: under the pointer, and of an area that is dragged over.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "render/probe.h"
#include "ui/area.h"

namespace ui {

// Hue in degrees, saturation and value as fractions, of 8-bit red, green, blue.
std::array<double, 3> hue_saturation_value(const std::array<std::uint8_t, 4>& rgba);

// The text of the tip under a point of the window: place and composite; the source's own values of the topmost picture
// there, as far as they are in memory; hue, saturation, value. Empty while the clock runs, so that it takes nothing
// from the play, and until a picture was drawn with the pointer there, for which it asks.
std::string pixel_text(workbench& bench, math::point point);

// Mean, least and most of each channel, and how many values lie below 0, above 1 or are no numbers.
std::string area_text(const render::area_statistics& area);

// Draws a box from press to pointer, with area_text() of the picture that was under the press.
std::shared_ptr<drag_handler> make_area_drag(workbench& bench);

}  // namespace ui
