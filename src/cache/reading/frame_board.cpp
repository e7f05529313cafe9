#include "cache/reading/frame_board.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>

#include "cache/reading/layer_identity.h"
#include "cache/track_frame.h"

namespace cache {
namespace {

constexpr std::size_t most_looked_at = 4096;  // frames of a layer in one update

// Whether a path may be that of a frame of the layer, found out without a search.
bool may_belong(const ksn::track_info& track, std::string_view path) {
  return path.size() >= track.source.path.size() && path.starts_with(track.source.path);
}

}  // namespace

frame_presence frame_board::state_of(const ksn::track_info& track, int frame,
                                     ksn::cache_resolution_type resolution) const {
  const frame_key key = key_of_frame(track, frame, resolution);
  if (reading_.cache().find(key)) return frame_presence::kept;
  return reading_.failures().has(key) ? frame_presence::failed : frame_presence::missing;
}

void frame_board::set(table& table, int frame, frame_presence state) {
  frame_presence& known = table.frames[static_cast<std::size_t>(frame)];
  if (known == state) return;
  known = state;
  ++revision_;
}

void frame_board::look_through(const ksn::state& composition, const ksn::track_info& track, table& table) {
  const std::size_t end = std::min(table.frames.size(), table.looked_at + most_looked_at);
  for (; table.looked_at < end; ++table.looked_at) {
    const int frame = static_cast<int>(table.looked_at);
    set(table, frame, state_of(track, frame, composition.view.resolution));
  }
}

int frame_board::find_frame(const ksn::track_info& track, table& table, const std::string& path) {
  if (!may_belong(track, path)) return -1;
  if (table.frame_of_path.empty()) {
    for (int i = 0; i < track.source.frames; ++i) table.frame_of_path.emplace(track.source.frame_path(i), i);
  }
  const auto found = table.frame_of_path.find(path);
  return found == table.frame_of_path.end() ? -1 : found->second;
}

void frame_board::update(const ksn::state& composition) {
  std::set<std::string> changed;
  const bool all_changed = reading_.cache().take_changes(changed);
  struct passing_frame {
    std::string path;
    frame_presence state;
  };
  std::vector<passing_frame> passing;
  reading_.for_each([&](const frame_request& request, bool being_read) {
    passing.push_back({request.key.path, being_read ? frame_presence::being_read : frame_presence::wanted});
  });

  for (auto& [id, known] : tables_) known.seen = false;
  for (const ksn::track_info& track : composition.doc.tracks) {
    if (!track.source.is_decoded()) continue;
    table& known = tables_[track.id];
    known.seen = true;
    const std::uint64_t identity = identity_of_frames(track, composition.view.resolution);
    if (identity != known.identity ||
        known.frames.size() != static_cast<std::size_t>(std::max(track.source.frames, 0))) {
      known.identity = identity;
      known.frames.assign(static_cast<std::size_t>(std::max(track.source.frames, 0)), frame_presence::missing);
      known.frame_of_path.clear();
      known.passing.clear();
      known.looked_at = 0;
      ++revision_;
    } else if (all_changed) {
      known.looked_at = 0;
    }
    for (const std::string& path : changed) {
      const int frame = find_frame(track, known, path);
      if (frame >= 0) set(known, frame, state_of(track, frame, composition.view.resolution));
    }
    for (const int frame : std::exchange(known.passing, {})) {
      set(known, frame, state_of(track, frame, composition.view.resolution));
    }
    look_through(composition, track, known);
    for (const passing_frame& next : passing) {
      const int frame = find_frame(track, known, next.path);
      if (frame < 0 || known.frames[static_cast<std::size_t>(frame)] != frame_presence::missing) continue;
      set(known, frame, next.state);
      known.passing.push_back(frame);
    }
  }
  std::erase_if(tables_, [](const auto& item) { return !item.second.seen; });
}

std::span<const frame_presence> frame_board::of(const ksn::track_info& track) const {
  const auto found = tables_.find(track.id);
  return found == tables_.end() ? std::span<const frame_presence>() : found->second.frames;
}

std::span<const frame_presence> frame_board::of(const ksn::track_info& track, int first, int count) const {
  const std::span<const frame_presence> all = of(track);
  const std::size_t from = std::min(static_cast<std::size_t>(std::max(first, 0)), all.size());
  return all.subspan(from, std::min(static_cast<std::size_t>(std::max(count, 0)), all.size() - from));
}

}  // namespace cache
