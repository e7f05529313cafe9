#include "cache/reading/frame_order.h"

#include <algorithm>

namespace cache {

std::optional<int> play_order::at(int step) const {
  const long long span = static_cast<long long>(end) - first;
  if (span <= 0 || step < 0) return std::nullopt;
  const long long place = static_cast<long long>(head) - first;
  switch (repeat) {
    case ksn::repeat_type::none: {
      const long long next = forward ? place + step : place - step;
      if (next < 0 || next >= span) return std::nullopt;
      return static_cast<int>(first + next);
    }
    case ksn::repeat_type::loop: {
      const long long next = (forward ? place + step : place - step) % span;
      return static_cast<int>(first + (next + span) % span);
    }
    case ksn::repeat_type::ping_pong: {
      // There and back: the frames at the two ends are shown twice.
      const long long phase = ((forward ? place : 2 * span - 1 - place) + step) % (2 * span);
      return static_cast<int>(first + (phase < span ? phase : 2 * span - 1 - phase));
    }
  }
  return std::nullopt;
}

int play_order::steps() const {
  const int span = std::max(end - first, 0);
  switch (repeat) {
    case ksn::repeat_type::none:
      return forward ? end - head : head - first + 1;
    case ksn::repeat_type::loop:
      return span;
    case ksn::repeat_type::ping_pong:
      return span + (forward ? end - head : head - first + 1);
  }
  return 0;
}

std::optional<int> play_order::steps_to(int frame) const {
  const int span = end - first;
  if (frame < first || frame >= end) return std::nullopt;
  const int ahead = forward ? frame - head : head - frame;
  if (ahead >= 0) return ahead;
  switch (repeat) {
    case ksn::repeat_type::none:
      return std::nullopt;
    case ksn::repeat_type::loop:
      return ahead + span;
    case ksn::repeat_type::ping_pong:
      return forward ? 2 * end - 1 - head - frame : head + frame + 1 - 2 * first;
  }
  return std::nullopt;
}

std::optional<int> outward_order::at(int step) const {
  if (step < 0 || step >= steps()) return std::nullopt;
  // Runs to both sides of the one that begins at the head; those at the ends of the work area may be shorter.
  const int above = end - head;    // frames from the head on
  const int below = head - first;  // before it
  const int own = std::min(run, above);
  if (step < own) return head + step;
  int left = step - own;  // into the runs that take turns
  int up = own;           // frames given above and below
  int down = 0;
  // Both sides have whole runs for so many rounds; what is left over is on one side.
  const int rounds = std::min({(above - up) / run, below / run, left / (2 * run)});
  left -= rounds * 2 * run;
  up += rounds * run;
  down += rounds * run;
  bool upward = forward;
  for (;;) {
    const int room = upward ? above - up : below - down;
    const bool other_done = (upward ? below - down : above - up) == 0;
    const int taken = other_done ? room : std::min(run, room);
    if (left < taken) {
      if (upward) return head + up + left;
      if (run == 1) return head - down - 1 - left;
      // Ascending inside each run, the run next to the head first.
      const int begin = left / run * run;
      const int length = std::min(run, taken - begin);
      return head - down - begin - length + (left - begin);
    }
    left -= taken;
    (upward ? up : down) += taken;
    upward = !upward;
  }
}

}  // namespace cache
