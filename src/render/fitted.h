// The whole output, fitted into a picture of any size: what goes to browsers and to other screens.
#pragma once

#include "render/compositor.h"

namespace render {

// As large as the output fits into `size`, with the view's pixel aspect, eyes and resolution, and without anything that
// belongs to the main window: its zoom, its pan, its channels, what lies over the picture.
frame_view fitted_view(const ksn::state& composition, math::point size);

// That view in the middle of an 8-bit picture of `size`, whose first planes are blue, green and red; around it is the
// composition's background.
img::image_ptr render_fitted(pipeline& pipeline, const ksn::state& composition, math::point size, double time);

}  // namespace render
