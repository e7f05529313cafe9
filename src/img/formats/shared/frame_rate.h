// Frame rates of film headers.
#pragma once

#include "img/image.h"

namespace img {

// A rate as a fraction: 23.976, 29.97 and their like are n * 1000 / 1001, others are taken to a thousandth. 0/0 for
// what is no rate. `rate` is in frames per second.
void set_frame_rate(image_info& info, double rate);

// Reads the field mark of the time code as the rate wants it, where there are both.
void take_sub_frames(image_info& info);

}  // namespace img
