// Marks over a picture that is shown and never in one that is saved as a layer or a composite: output mask, safe
// area and grid. All follow `frame_view::marks`.
#pragma once

#include "composition/state.h"
#include "img/image.h"
#include "render/compositor.h"

namespace render {

constexpr lib::color safe_area_blue{255, 75, 141, 190};
constexpr lib::color safe_area_orange{255, 251, 174, 23};
constexpr lib::color mask_frame_color{255, 110, 110, 110};  // just outside of the output
constexpr double pixel_grid_zoom = 8.0;                     // from here on each composition pixel has its lines

// The crop kinds of mask: what lies outside the output becomes the background. Before the checker is drawn.
void cut_to_output(img::image& picture, const ksn::state& composition, const frame_view& view);

// The other marks, over the finished picture. Colour planes only.
void draw_marks(img::image& picture, const ksn::state& composition, const frame_view& view);

}  // namespace render
