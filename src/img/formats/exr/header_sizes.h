// A walk over the header of an OpenEXR file before the library reads it.
#pragma once

#include "img/formats/shared/source_file.h"

namespace img {

// The library asks for as much memory as an attribute says that it has, so what each says is held against the file
// first. Throws io::invalid_format for a name that does not end, an attribute that is larger than what is left of the
// file and a preview that is not as large as its own size says; io::eof_error for a header that is cut short.
void check_header_sizes(const source_file& file);

}  // namespace img
