// Pixels of 8 to 32 bits in which masks tell where the colours are.
#pragma once

#include <array>
#include <cstdint>

#include "img/image.h"

namespace img {

// One row of pixels of 1 to 4 bytes, least significant byte first, to row y of the planes blue, green, red and maybe
// alpha, whose masks stand in that order; a mask of 0 gives 0. A few bits are repeated until they fill a byte. In a
// picture of halves, colours are sRGB encoded fractions of their largest value.
void put_bit_fields(image& image, int y, const std::uint8_t* pixels, int bytes,
                    const std::array<std::uint32_t, 4>& masks);

}  // namespace img
