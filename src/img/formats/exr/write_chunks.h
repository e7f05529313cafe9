// The pixels of OpenEXR files that are written here: scan lines of halves without compression, as runs or deflated.
#pragma once

#include <ImfHeader.h>

#include <cstdint>
#include <span>

#include "img/formats/exr/library.h"

namespace img {

// Whether write_exr_chunks() knows the header's compression.
bool writes_exr_chunks(const Imf::Header& header);

// Writes a whole file of scan lines: the header, the table of offsets and the chunks, packed on all threads. `planes`
// are the samples of the header's channels in their order there, each of the size of the data window. Holds a few
// chunks a thread in memory. Throws io::write_error and what the library throws.
void write_exr_chunks(exr_output_stream& stream, const Imf::Header& header,
                      std::span<const std::uint16_t* const> planes);

}  // namespace img
