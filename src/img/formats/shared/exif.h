// The metadata that cameras and programs write beside the pixels of JPEG, PNG and TIFF files.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>

#include "img/image.h"

namespace img {

using metadata_map = std::map<std::string, std::string>;

// Adds the common fields of an EXIF block (JEITA CP-3451, a TIFF structure that begins with its byte order) as
// "exif_..." and returns the orientation, 1 to 8, as that block numbers them; 1 where none is told. Data that does not
// lie within the block is left out; nothing throws.
int take_exif(std::span<const std::uint8_t> block, metadata_map& metadata);

// The name of a field of such a block, or of the same tag in a TIFF file, in metadata; null for one that is not shown.
const char* exif_name_of(std::uint32_t tag);

}  // namespace img
