#include "playback/pacing.h"

#include <algorithm>
#include <cstdio>

namespace playback {
namespace {

constexpr double slowest_rate = 10.0;
constexpr lib::color wanted_color{255, 255, 255, 255};
constexpr lib::color reached_color{255, 75, 141, 190};

}  // namespace

int tick_milliseconds(int fpcs) {
  return static_cast<int>(1000.0 / std::max(fpcs / 100.0, slowest_rate));
}

pacing pace(const tick& tick) {
  const int rest = tick_milliseconds(tick.fpcs) - tick.spent;
  if (rest < 1) return {};
  if (tick.device_runs) return {pacing_wait::device, tick.device_is_asked ? 1 : rest};
  if (tick.present_mode == 4 || tick.present_mode == 5) return {pacing_wait::present_done, rest};
  if (tick.foreground && !tick.throttled) return {};
  return {pacing_wait::events, rest};
}

rate_reading rate_field::draw(std::uint32_t now, int fpcs, bool can_drop_frames) {
  rate_reading result{fpcs, {}, wanted_color};
  if (draws_ >= 2) {
    const std::uint32_t two_draws = now - before_last_;
    // The counter knows whole milliseconds: one more than the frame time is still on time.
    if (two_draws > 1 && fpcs != 0 && 100000 / fpcs + 1 != static_cast<int>(std::min(two_draws / 2, 0x7FFFFFFFu))) {
      const int measured = static_cast<int>(100000 / (two_draws / 2));
      if (fpcs > measured) result = {measured, {}, reached_color};
    }
  }
  before_last_ = last_;
  last_ = now;
  if (draws_ < 2) ++draws_;
  char text[48];
  std::snprintf(text, sizeof text, "%d.%02d%s fps", result.fpcs / 100, result.fpcs % 100, can_drop_frames ? "*" : "");
  result.text = text;
  return result;
}

}  // namespace playback
