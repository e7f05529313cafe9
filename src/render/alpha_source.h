// Alpha taken from another layer, and the inversions of a layer's own planes.
#pragma once

#include "composition/track_info.h"
#include "img/image.h"

namespace render {

// A layer with its picture as the pipeline gave it, 8-bit planes. `reduction` is 1, 2 or 4: how many of the source's
// pixels one pixel of the picture stands for in each direction.
struct layer_picture {
  const ksn::track_info* track = nullptr;
  img::const_image_ptr image;
  int reduction = 1;
};

// The layer's picture with alpha source and inversions. It is the given picture itself when nothing applies. A source
// without a picture or without the chosen channel counts as none. For an adjustment layer the result holds plane 3
// alone, in the layer's size, and is null without a source. Runs on all threads.
img::const_image_ptr apply_alpha_source(const layer_picture& layer, const layer_picture& source);

// The 256 values that a tonal range makes of alpha: shadows fall from 255 below 51 to 0 from 102 on, highlights mirror
// them, midtones are what is left. Null for `none`, which changes nothing.
const std::uint8_t* range_table(ksn::alpha_source_range_type range);

}  // namespace render
