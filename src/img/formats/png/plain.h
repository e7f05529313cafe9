// The pixels of the common PNG files, without the library.
#pragma once

#include "img/image.h"
#include "io/file.h"

namespace img {

// For files of 8-bit RGB or RGBA that are not interlaced: fills the planes of `image`, BGR or BGRA, which has the size
// of the file's picture. The data is inflated in one go and its filters (ISO/IEC 15948, 9) are undone row by row.
// False, with planes that may hold anything, for data that is not as it should be: the library then says what is wrong,
// or reads what it can. Throws io::read_error.
bool read_plain_png(const io::llfile& file, image& image);

}  // namespace img
