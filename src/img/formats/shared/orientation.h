// Pictures that a file holds turned or mirrored.
#pragma once

#include "img/image.h"

namespace img {

// How the rows and columns of a file lie in the picture, as TIFF 6.0 and Exif number it: 1 upright, 2 mirrored left to
// right, 3 turned by 180 degrees, 4 mirrored top to bottom, 5 mirrored along the diagonal, 6 to be turned clockwise, 7
// mirrored along the other diagonal, 8 to be turned counter-clockwise. Other numbers count as 1.
constexpr bool swaps_sides(int orientation) {
  return orientation >= 5 && orientation <= 8;
}

// Brings all planes of a picture that was filled as the file holds it upright, and sets size and anchor.
void apply_orientation(image& image, int orientation);

}  // namespace img
