// Colour keys: alpha from the distance of a pixel's colour to one or two key colours.
#pragma once

#include "composition/track_info.h"
#include "img/image.h"

namespace render {

// Completes an 8-bit picture to blue, green, red and alpha and writes the alpha of the enabled keys, the lesser of both
// where both are: clamp(((|R - kR| + |G - kG| + |B - kB|) - tolerance) * slope / 2, 0, 255).
void apply_keys(img::image& image, const ksn::color_key& primary, const ksn::color_key& secondary);

}  // namespace render
