// A walk over the header of an OpenEXR file before the library reads it.
#pragma once

#include "img/formats/shared/source_file.h"

namespace img {

// The library asks for as much memory as an attribute says that it has, so what each says is held against the file
// first; and it goes on after a value as its type ends it, so an attribute of another size would have it read anything
// as the next one. Throws io::invalid_format for a name that does not end, an attribute that is larger than what is
// left of the file or whose value takes more or less than it says, and for a second window, list of channels or other
// attribute that memory is made for; io::eof_error for a header that is cut short.
void check_header_sizes(const source_file& file);

}  // namespace img
