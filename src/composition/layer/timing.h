// When a layer plays. The length that the points are fractions of is track_info::length().
#pragma once

namespace ksn {

struct layer_timing {
  int begin = 0;          // timeline frame at which source frame 0 would stand; may be negative
  double retime = 1.0;    // timeline frames per source frame
  double sbegin_f = 0.0;  // in point as a fraction of length()
  double send_f = 1.0;    // out point as a fraction of length(); above 1 the source repeats
  int fade_in = 0;        // frames
  int fade_out = 0;
  bool operator==(const layer_timing&) const = default;
};

}  // namespace ksn
