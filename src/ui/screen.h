// The picture that the window shows.
#pragma once

#include <cstdint>

#include "composition/state.h"
#include "img/image.h"
#include "render/compositor.h"
#include "render/pipeline.h"

namespace ui {

constexpr int infobar_height = 17;  // over the lower end of the preview area, at scale 1

// Renders the preview area at a time of the timeline: the composite under zoom and pan, as save_screen_as saves it.
// `target` becomes an 8-bit picture of the client's size with the planes of a composite; both sizes are at least 1.
// What lies below the split line is the other areas' to draw, and has no particular value. `times` may be null, and so
// may `probe`, which tells what the composite holds under a point, and `ahead`, what was made of it before.
void draw_screen(render::pipeline& pipeline, const ksn::state& composition, double time, img::image& target,
                 int client_width, int client_height, render::frame_times* times = nullptr,
                 render::composite_probe* probe = nullptr, render::frame_ahead* ahead = nullptr);

// Makes what can be made of such a picture before it is due.
void make_screen_ahead(render::pipeline& pipeline, const ksn::state& composition, double time, int client_width,
                       int client_height, render::composite_probe* probe, render::frame_ahead& ahead);

// The client size at which the free part of the preview area holds the picture of the composition at its present zoom,
// pixel for pixel: the largest visible layer, or without one `mask_size`.
math::point client_size_to_fit(const ksn::state& composition);

// The part of the preview area, around its middle, that nothing covers: all but as much above as the information bar
// takes below.
math::point free_preview(const ksn::state& composition, int client_width, int client_height);

// The zoom in whole percent at which a picture of that size just fits an area of the screen, in its middle.
void fit_zoom(ksn::state& composition, math::point picture, math::point area);
// The same for all visible layers, and for the output, in the preview area of a client area.
void fit_picture(ksn::state& composition, int client_width, int client_height);
void fit_output(ksn::state& composition, int client_width, int client_height);
// For the first layer of a composition: shows all of it, as it is when there is room.
void fit_first_layer(ksn::state& composition, int client_width, int client_height);

}  // namespace ui
