#include "ui/timeline/snapping.h"

#include <algorithm>
#include <cmath>

namespace ui {

std::vector<int> snap_frames(const ksn::document& doc, const std::set<int>& moved, bool with_cursor) {
  std::vector<int> frames{0, doc.tm_n, doc.tm_f, doc.tm_l};
  if (with_cursor) frames.push_back(static_cast<int>(doc.tm_t));
  for (const ksn::track_info& track : doc.tracks) {
    if (moved.count(track.id)) continue;
    frames.push_back(track.timing.begin + track.in());
    frames.push_back(track.timing.begin + track.out());
  }
  std::sort(frames.begin(), frames.end());
  frames.erase(std::unique(frames.begin(), frames.end()), frames.end());
  return frames;
}

std::optional<int> snapped(const std::vector<int>& frames, int fpcs, double frame, double reach) {
  std::optional<int> best;
  const auto offer = [&](int candidate) {
    const double distance = std::abs(candidate - frame);
    if (distance <= reach && (!best || distance < std::abs(*best - frame))) best = candidate;
  };
  // The first that is not below, and the one in front of it, are the two nearest.
  const auto next = std::lower_bound(frames.begin(), frames.end(), frame);
  if (next != frames.end()) offer(*next);
  if (next != frames.begin()) offer(*std::prev(next));
  if (best || fpcs < 1) return best;
  const double second = fpcs / 100.0;
  // Seconds closer together than the reach would take every frame.
  if (second > 2 * reach) offer(static_cast<int>(std::rint(std::rint(frame / second) * second)));
  return best;
}

}  // namespace ui
