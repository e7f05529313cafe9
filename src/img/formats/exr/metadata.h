// The attributes of an OpenEXR header as information of an image.
#pragma once

#include "img/formats/exr/file.h"
#include "img/image.h"

namespace img {

// Adds every attribute of the part by its name with its value as text, and takes `timeCode`, `keyCode` and
// `framesPerSecond` into the codes and the rate of the image.
void take_exr_attributes(const exr_file& file, image_info& info);

}  // namespace img
