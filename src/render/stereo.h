// Two eyes become one picture.
#pragma once

#include "composition/enums.h"
#include "img/image.h"

namespace render {

// Merges the other eye into `target`; both have the same size and planes.
//   anaglyph      red becomes ((blue - green) * 76 >> 8) + green of the other eye
//   interlaced    even rows come from the other eye, all planes
//   checkerboard  pixels whose column + row + phase is even come from the other eye, all planes
//   anaglyph_gm   blue and red move toward the other eye's green: ((green - own) * 150 >> 8) + own
void merge_stereo(img::image& target, const img::image& other, ksn::stereo_view_type mode, int phase);

}  // namespace render
