// Where layers, crops and the output lie in a picture, for whoever draws them and whoever looks for them.
#pragma once

#include "composition/state.h"
#include "render/compositor.h"
#include "render/pipeline.h"

namespace render {

// Where the layer's picture lies in a view, from the size that its source declares; empty when none is known.
rectangle picture_place(const ksn::track_info& track, const frame_view& view);

// The layer's crop rectangle, whether the crop is on or not.
rectangle crop_place(const ksn::track_info& track, const frame_view& view);

// The output: `mask_size` around the composition's centre, or, when the view's mask moves and one layer is selected,
// placed as that layer is.
rectangle output_place(const ksn::state& composition, const frame_view& view);

}  // namespace render
