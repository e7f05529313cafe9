// JPEG to where no file is.
#pragma once

#include "img/format.h"
#include "io/streams.h"

namespace img {

// Writes the bytes of the format's file to a stream. Throws the io family.
void write_jpeg(const image& image, io::binary_writer& to, const save_options& options);

}  // namespace img
