// What the window shows.
#pragma once

#include <cstdint>

#include "composition/state.h"
#include "img/image.h"
#include "render/compositor.h"
#include "render/pipeline.h"

namespace ui {

// Renders the whole client area at a time of the timeline: the composite under zoom and pan in the preview area, as
// save_screen_as saves it, and below the split line the strip that belongs to the other areas. `target` becomes an
// 8-bit picture of the client's size with the planes of a composite; both sizes are at least 1. `times` may be null.
void draw_screen(render::pipeline& pipeline, const ksn::state& composition, double time, img::image& target,
                 int client_width, int client_height, render::frame_times* times = nullptr);

// The client size at which the preview area holds the picture of the composition at its present zoom, pixel for pixel:
// the largest visible layer, or without one `mask_size`.
math::point client_size_to_fit(const ksn::state& composition);

}  // namespace ui
