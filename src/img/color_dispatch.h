// Which set of colour loops runs.
#pragma once

#include "img/color_rows.h"
#include "img/simd_level.h"

namespace img {

// The loops of current_simd_level(), with the extensions of this processor beyond the level.
const color_rows& current_color_rows();

}  // namespace img
