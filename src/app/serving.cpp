#include "app/serving.h"

#include <algorithm>
#include <cmath>

#include "app/interrupt.h"
#include "composition/opening/watching.h"
#include "platform/files.h"
#include "platform/tcp.h"

namespace app {
namespace {

constexpr int longest_wait = 500;  // milliseconds: folders are watched, and a signal may come between test and wait

// Until the next frame of a playing clock.
int milliseconds_left(const ksn::document& document) {
  if (!document.playing) return longest_wait;
  const double part = document.tm_t - std::floor(document.tm_t);
  const double frames = document.forward ? 1.0 - part : part;
  const double left = std::ceil(frames * 1e5 / std::max(document.fpcs, 1));
  return std::clamp(static_cast<int>(left), 1, longest_wait);
}

}  // namespace

void serve(const serving_parts& parts) {
  platform::tcp_wait rest;
  parts.services.set_wake([&rest] { rest.wake(); });
  parts.loader.reading().set_wake([&rest] { rest.wake(); });
  cache::frame_cache& frames = parts.loader.reading().cache();
  std::uint32_t last = platform::milliseconds();
  while (!interrupted()) {
    const std::uint32_t now = platform::milliseconds();
    parts.clock.tick(playback::elapsed_seconds(now, last), false);
    last = now;
    parts.loader.tick(parts.composition, parts.clock.shown_time());
    ksn::poll_watches(parts.composition);
    const bool busy = parts.services.poll();
    if (parts.between_ticks) parts.between_ticks();
    if (busy) continue;
    if (!parts.composition.doc.playing) frames.trim(frames.memory_reserve_percent);
    rest.wait(milliseconds_left(parts.composition.doc));
  }
  parts.loader.reading().set_wake(nullptr);
  parts.services.set_wake(nullptr);
}

}  // namespace app
