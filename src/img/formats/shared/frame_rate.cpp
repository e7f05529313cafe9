#include "img/formats/shared/frame_rate.h"

#include <cmath>
#include <numeric>

namespace img {

void set_frame_rate(image_info& info, double rate) {
  info.frame_rate_nm = info.frame_rate_dn = 0;
  if (!(rate >= 0.01 && rate < 10000.0)) return;
  for (const int whole : {24, 30, 48, 60, 120}) {
    if (std::fabs(rate - whole * 1000.0 / 1001.0) < 0.005) {
      info.frame_rate_nm = whole * 1000;
      info.frame_rate_dn = 1001;
      return;
    }
  }
  const int thousandths = static_cast<int>(std::lrint(rate * 1000.0));
  const int divisor = std::gcd(thousandths, 1000);
  info.frame_rate_nm = thousandths / divisor;
  info.frame_rate_dn = 1000 / divisor;
}

void take_sub_frames(image_info& info) {
  if (info.frame_rate_nm <= 0 || info.frame_rate_dn <= 0 || !info.timecode.is_valid()) return;
  const double rate = 100.0 * info.frame_rate_nm / info.frame_rate_dn;
  // Absurd rates would need more sub-frames than a time code can tell.
  if (rate > 0.5 && rate < 1e6) set_timecode_rate(info.timecode, static_cast<int>(std::lrint(rate)));
}

}  // namespace img
