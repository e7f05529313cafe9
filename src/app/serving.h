// A run without a window: ticks until somebody ends it, so that browsers see the composition of a node without a
// display.
#pragma once

#include <functional>

#include "app/live_services.h"
#include "cache/reading/frame_loader.h"
#include "composition/state.h"
#include "playback/clock.h"

namespace app {

struct serving_parts {
  ksn::state& composition;
  cache::frame_loader& loader;
  playback::clock& clock;
  live_services& services;
  std::function<void()> between_ticks;  // may be empty
};

// Returns when the process is interrupted.
void serve(const serving_parts& parts);

}  // namespace app
