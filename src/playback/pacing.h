// How a tick of the main loop gives time back, and the rate that it reaches as the user reads it.
#pragma once

#include <cstdint>
#include <string>

#include "lib/color.h"

namespace playback {

enum class pacing_wait {
  none,          // the next tick follows at once
  events,        // until something happens, at most the time
  present_done,  // until the picture is on the screen or something happens, at most the time
  device,        // until the external output asks for a frame, at most the time
};

struct pacing {
  pacing_wait wait = pacing_wait::none;
  int milliseconds = 0;
};

struct tick {
  int fpcs = 2500;               // rate of the composition in hundredths
  int spent = 0;                 // milliseconds that the tick took so far
  bool device_runs = false;      // an external output
  bool device_is_asked = false;  // one that has to be asked every millisecond
  int present_mode = 0;
  bool foreground = false;
  bool throttled = true;  // the wait option of the composition
};

// The milliseconds of one tick: a frame's, at most 100, so that even the slowest rate leaves ten ticks a second.
int tick_milliseconds(int fpcs);

// The rest of the tick's time.
pacing pace(const tick& tick);

// The rate that is shown: the one that is wanted, or the one that is reached when that is less.
struct rate_reading {
  int fpcs = 0;
  std::string text;
  lib::color color;
};

// Measures over the last two draws of the field. Main thread.
class rate_field {
 public:
  // `now` is a millisecond counter of 32 bits.
  rate_reading draw(std::uint32_t now, int fpcs, bool can_drop_frames);

 private:
  std::uint32_t last_ = 0;
  std::uint32_t before_last_ = 0;
  int draws_ = 0;
};

}  // namespace playback
