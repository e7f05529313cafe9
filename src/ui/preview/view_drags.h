// Gestures that change the view or the time and leave the document as it is.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "render/compositor.h"
#include "ui/area.h"

namespace ui {

// The preview area as it is drawn: its picture begins at the window's corner, so that a point of the window is one of
// the picture.
render::frame_view preview_view(const workbench& bench);

// Changes the zoom by `change`; what lies under the point stays there.
void zoom_around(const workbench& bench, math::point point, const std::function<void(ksn::view&)>& change);

// Moves the picture with the pointer.
std::shared_ptr<drag_handler> make_pan_drag(workbench& bench);

// A hundredth of the zoom for each pixel to the side; `keep_point` keeps what is under the press in its place.
std::shared_ptr<drag_handler> make_zoom_drag(workbench& bench, bool keep_point);

constexpr double frames_per_pixel = 0.125;
constexpr std::uint32_t flick_milliseconds = 1500;  // less than that from the press to the release
constexpr int flick_distance = 24;                  // pixels at scale 1, at least, and more than to the side

// Moves the time; the play stands still meanwhile. A quick movement up or down is a flick instead: up plays forward,
// down backward, and the same way again stops. `pressed_at` is the workbench's milliseconds at the press.
std::shared_ptr<drag_handler> make_scrub_drag(workbench& bench, std::uint32_t pressed_at);

// The view's exposure, a hundredth of a stop for each pixel to the side; with Shift its gamma, by hundredths.
std::shared_ptr<drag_handler> make_view_correction_drag(workbench& bench);

// The volume of all sound, one percent for each pixel to the side.
std::shared_ptr<drag_handler> make_volume_drag(workbench& bench);

}  // namespace ui
