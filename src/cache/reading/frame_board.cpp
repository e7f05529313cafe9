#include "cache/reading/frame_board.h"

#include <algorithm>
#include <set>
#include <string>
#include <utility>

#include "cache/reading/layer_identity.h"
#include "cache/track_frame.h"

namespace cache {
namespace {

constexpr std::size_t most_looked_at = 4096;  // frames in one update, a millisecond
constexpr std::size_t most_told = 16384;      // changes that are kept

}  // namespace

frame_presence frame_board::state_of(const ksn::track_info& track, int frame) const {
  const frame_key key = key_of_frame(track, frame, resolution_);
  frame_cache& cache = reading_.cache();
  // One that only somebody else still holds goes without a word.
  if (const img::const_image_ptr image = cache.find(key); image && cache.is_kept(image)) return frame_presence::kept;
  return reading_.failures().has(key) ? frame_presence::failed : frame_presence::missing;
}

void frame_board::set(std::uint64_t source, table& table, int frame, frame_presence state) {
  if (std::exchange(table.frames[static_cast<std::size_t>(frame)], state) == state) return;
  latest_.resize(most_told);
  latest_[static_cast<std::size_t>(++revision_ % most_told)] = {source, frame};
}

std::optional<std::vector<frame_board::change>> frame_board::changes_since(std::uint64_t revision) const {
  if (revision > revision_ || revision_ - revision > most_told) return std::nullopt;
  std::vector<change> changes;
  changes.reserve(static_cast<std::size_t>(revision_ - revision));
  while (revision < revision_) changes.push_back(latest_[static_cast<std::size_t>(++revision % most_told)]);
  return changes;
}

bool frame_board::is_listed(const ksn::state& composition) const {
  if (listed_ != composition.revision || resolution_ != composition.view.resolution) return false;
  const std::deque<ksn::track_info>& tracks = composition.doc.tracks;
  return std::all_of(tables_.begin(), tables_.end(), [&](const auto& item) {
    return item.second.layer < tracks.size() && tracks[item.second.layer].id == item.second.layer_id;
  });
}

void frame_board::list_sources(const ksn::state& composition) {
  listed_ = composition.revision;
  ++listing_;
  resolution_ = composition.view.resolution;
  for (auto& [source, known] : tables_) known.seen = false;
  sources_.clear();
  for (std::size_t i = 0; i < composition.doc.tracks.size(); ++i) {
    const ksn::track_info& track = composition.doc.tracks[i];
    if (!track.source.is_decoded()) continue;
    const std::uint64_t source = identity_of_frames(track, resolution_);
    sources_[track.id] = source;
    table& known = tables_[source];
    known.seen = true;
    known.layer = i;
    known.layer_id = track.id;
    if (const auto frames = static_cast<std::size_t>(std::max(track.source.frames, 0)); known.frames.size() != frames)
      known.frames.assign(frames, frame_presence::missing);
    places_.add(source, track.source);
  }
  std::erase_if(tables_, [this](const auto& item) {
    if (!item.second.seen) places_.remove(item.first);
    return !item.second.seen;
  });
}

void frame_board::take_changes(const ksn::state& composition) {
  std::set<std::string> changed;
  const bool all_changed = reading_.cache().take_changes(changed);
  if (all_changed) {
    for (auto& [source, known] : tables_) known.looked_at = 0;
  }
  const auto track_of = [&](std::uint64_t source) -> const ksn::track_info& {
    return composition.doc.tracks[tables_.at(source).layer];
  };
  for (const std::string& path : changed) {
    for (const frame_places::place& at :
         places_.find(path, [&](std::uint64_t source) -> const ksn::layer_source& { return track_of(source).source; }))
      set(at.source, tables_.at(at.source), at.frame, state_of(track_of(at.source), at.frame));
  }
}

void frame_board::take_requests(const ksn::state& composition) {
  struct request {
    int layer;
    int frame;
    frame_presence state;
  };
  std::vector<request> requests;
  reading_.for_each([&](const frame_request& wanted, bool being_read) {
    requests.push_back(
        {wanted.layer_id, wanted.source_frame, being_read ? frame_presence::being_read : frame_presence::wanted});
  });
  for (const request& next : requests) {
    const auto source = sources_.find(next.layer);
    if (source == sources_.end()) continue;
    table& known = tables_[source->second];
    if (next.frame >= 0 && next.frame < static_cast<int>(known.frames.size()))
      known.next_passing.emplace_back(next.frame, next.state);
  }
  for (auto& [source, known] : tables_) {
    if (known.passing.empty() && known.next_passing.empty()) continue;
    std::vector<int> before = std::exchange(known.passing, {});
    for (const auto& [frame, state] : known.next_passing) {
      const frame_presence now = known.frames[static_cast<std::size_t>(frame)];
      // A frame in memory that is read again stays in memory meanwhile.
      if (now == frame_presence::kept || now == frame_presence::failed) continue;
      set(source, known, frame, state);
      known.passing.push_back(frame);
    }
    known.next_passing.clear();
    std::sort(known.passing.begin(), known.passing.end());
    const ksn::track_info& track = composition.doc.tracks[known.layer];
    for (const int frame : before) {
      if (!std::binary_search(known.passing.begin(), known.passing.end(), frame))
        set(source, known, frame, state_of(track, frame));
    }
  }
}

void frame_board::look_through(const ksn::state& composition) {
  std::size_t left = most_looked_at;
  busy_ = false;
  for (auto& [source, known] : tables_) {
    const std::size_t end = std::min(known.frames.size(), known.looked_at + left);
    left -= end - known.looked_at;
    for (; known.looked_at < end; ++known.looked_at) {
      const int frame = static_cast<int>(known.looked_at);
      const frame_presence now = known.frames[known.looked_at];
      if (now == frame_presence::wanted || now == frame_presence::being_read) continue;
      set(source, known, frame, state_of(composition.doc.tracks[known.layer], frame));
    }
    busy_ = busy_ || known.looked_at < known.frames.size();
  }
}

void frame_board::update(const ksn::state& composition) {
  if (!is_listed(composition)) list_sources(composition);
  take_changes(composition);
  take_requests(composition);
  look_through(composition);
}

std::uint64_t frame_board::source_of(const ksn::track_info& track) const {
  const auto found = sources_.find(track.id);
  return found == sources_.end() ? 0 : found->second;
}

std::span<const frame_presence> frame_board::of(const ksn::track_info& track) const {
  const auto found = tables_.find(source_of(track));
  return found == tables_.end() ? std::span<const frame_presence>() : found->second.frames;
}

std::span<const frame_presence> frame_board::of(const ksn::track_info& track, int first, int count) const {
  const std::span<const frame_presence> all = of(track);
  const std::size_t from = std::min(static_cast<std::size_t>(std::max(first, 0)), all.size());
  return all.subspan(from, std::min(static_cast<std::size_t>(std::max(count, 0)), all.size() - from));
}

}  // namespace cache
