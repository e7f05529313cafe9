// Pictures that are needed for a moment and again in the next frame.
#pragma once

#include <array>
#include <string_view>

#include "img/image.h"

namespace render {

// An 8-bit picture with these planes (zero letters leave gaps), its pixels uncleared, its information empty and its
// anchor in the centre. It goes back to the pool with its last reference. Any thread. Throws std::bad_alloc.
img::image_ptr pooled_image(const std::array<char, img::image::max_planes>& letters, int width, int height);
img::image_ptr pooled_image(std::string_view letters, int width, int height);

// A picture of no particular form, for a conversion that sets it. It goes back to the pool as what it became.
img::image_ptr pooled_image();

// An empty picture, whose planes go to the pool with its last reference. For what renders by swapping: nothing waits in
// it meanwhile.
img::image_ptr empty_image();

// Frees what waits in the pool.
void release_pooled_images();

}  // namespace render
