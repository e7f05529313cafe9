// The metadata of a TIFF directory.
#pragma once

#include "img/formats/tiff/directory.h"
#include "img/formats/tiff/picture.h"
#include "img/image.h"

namespace img {

// Adds texts, resolution, Exif numbers, XMP and the name of the colour profile of the directory at `position`.
void take_tiff_metadata(const tiff_file& file, std::int64_t position, image_info& info);

// Width of a pixel to its height by the resolutions across and down, as the picture is shown; 0 where they are not
// told.
double tiff_pixel_aspect(const tiff_file& file, const tiff_picture& picture);

}  // namespace img
