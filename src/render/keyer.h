// Colour keys: alpha from the distance of a pixel's colour to one or two key colours.
#pragma once

#include "composition/track_info.h"
#include "img/image.h"

namespace render {

// clamp(((|R - kR| + |G - kG| + |B - kB|) - tolerance) * slope / 2, 0, 255)
std::uint8_t key_alpha(std::uint8_t b, std::uint8_t g, std::uint8_t r, const ksn::color_key& key);

// Completes an 8-bit picture to blue, green, red and alpha and writes the alpha of the enabled keys, the lesser of both
// where both are.
void apply_keys(img::image& image, const ksn::color_key& primary, const ksn::color_key& secondary);

}  // namespace render
