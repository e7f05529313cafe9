// Lines that the compositor draws over a layer. Colour planes only: what lies beneath keeps its alpha and depth.
#pragma once

#include "img/image.h"
#include "lib/color.h"
#include "render/pipeline.h"

namespace render {

// The one-pixel outline just inside `box`, as far as it lies in `clip` and the picture.
void draw_outline(img::image& target, const rectangle& box, lib::color color, const rectangle& clip);

// The title-safe and action-safe boxes of `box` (80 % and 90 %, centred) with ticks in the middle of their sides, ticks
// at the corners of `box` and a cross in its centre. `crop` marks the centre of a crop rectangle; null for none.
void draw_safe_area(img::image& target, const rectangle& box, lib::color color, const rectangle* crop,
                    const rectangle& clip);

}  // namespace render
