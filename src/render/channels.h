// Selection of channels, of a layer's picture before its colours are converted and of a finished frame.
#pragma once

#include "composition/enums.h"
#include "img/image.h"

namespace render {

// Where the compositor reads alpha and depth.
constexpr int alpha_plane = 3;
constexpr int depth_plane = 4;

// Whether the picture has that plane, with samples of 8 bits. -1 is none.
inline bool has_bytes(const img::image& image, int plane) {
  return image.has_plane(plane) && image.depth[static_cast<std::size_t>(plane)] == 8;
}

// Leaves the chosen channels of an 8-bit, half or packed picture, in place. Packed pictures become host-order words,
// and 8-bit BGR for alpha and depth. A channel whose plane is not there is left out.
void select_channels(img::image& image, ksn::view_type channels);

// Moves alpha and depth to their places; readers of gray pictures may have put them right after the first plane.
void place_planes(img::image& image);
bool planes_in_place(const img::image& image);

// The plane of `width` * `height` luminances of a picture with three 8-bit colour planes:
// (54 red + 183 green + 19 blue) >> 8.
void luminance(std::uint8_t* out, const img::image& image);

}  // namespace render
