// From the blocks of a TIFF picture to the planes of an image.
#pragma once

#include "img/formats/tiff/picture.h"
#include "img/image.h"

namespace img {

// Letters and depth of the planes that the picture becomes.
const char* letters_of(const tiff_picture& picture);
int depth_of(const tiff_picture& picture);

// Fills the planes of an image of that form and of the size that the file gives, not yet turned. Runs on all threads.
// Throws as tiff_blocks.
void read_tiff_pixels(const tiff_file& file, const tiff_picture& picture, image& image);

}  // namespace img
