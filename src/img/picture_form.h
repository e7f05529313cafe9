// How the planes of a picture move when its colours are converted.
#pragma once

#include "img/image.h"

namespace img {

// Whether plane `i` holds colour: one of the first three, as deep as the first, and neither alpha nor depth.
inline bool is_color_plane(const image& image, int i) {
  return i < 3 && image.has_plane(i) && image.depth[i] == image.depth[0] && image.format[i] != 'A' &&
         image.format[i] != 'Z';
}

// Three planes blue, green and red, not packed.
inline bool has_three_colors(const image& image) {
  return !image.is_packed() && image.format[0] != 'L' && is_color_plane(image, 0) && is_color_plane(image, 1) &&
         is_color_plane(image, 2);
}

// How far the planes after the colours move up when one plane of colour becomes three.
inline int shift_behind_colors(const image& image) {
  for (int i = 1; i < 3; ++i) {
    if (image.has_plane(i) && (image.is_packed() || !is_color_plane(image, i))) return 2;
  }
  return 0;
}

// Gives `out` the size, the information and the colour planes of a conversion of `image`, not yet filled: blue, green
// and red, or else the colour planes that `image` has. Returns how far the further planes move, for
// for_further_planes(), with which the caller adds them.
int begin_conversion(image& out, const image& image, bool three_colors, int bits);

// Calls body(from, to) for each further plane of `image` and its place in the converted picture.
template <class Body>
void for_further_planes(const image& image, int shift, Body&& body) {
  for (int i = 1; i + shift < image::max_planes; ++i) {
    const bool further = image.has_plane(i) && (image.is_packed() || !is_color_plane(image, i));
    if (further) body(i, i + shift);
  }
}

}  // namespace img
