// The metadata that cameras and programs write beside the pixels of JPEG and PNG files.
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

// The description in an ICC profile (ISO 15076-1), empty when it has none that can be read.
std::string icc_description(std::span<const std::uint8_t> profile);

// Turns and mirrors all planes so that a picture of that EXIF orientation stands upright; 5 to 8 swap width and height.
// Other numbers change nothing.
void set_upright(image& image, int orientation);
constexpr bool swaps_sides(int orientation) {
  return orientation >= 5 && orientation <= 8;
}

}  // namespace img
