#include "composition/watching.h"

#include <algorithm>

#include "composition/frame_numbers.h"
#include "composition/sequence.h"
#include "platform/file_watch.h"

namespace ksn {
bool can_rescan(const track_info& track) {
  return track.source_type == source_type::sequence && !track.mask.empty();
}

bool can_watch(const track_info& track) {
  return can_rescan(track) && track.range.empty();
}

void rescan(state& composition, track_info& track) {
  if (!can_rescan(track)) return;
  const long long old_end = static_cast<long long>(track.begin) + track.out();
  track_info fresh;
  const std::string fallback_name(track.names.empty() ? std::string_view() : track.names.front());
  if (scan_folder(track.path + track.mask, fresh, composition.default_alpha_type, true, fallback_name) ==
      scan_result::nothing) {
    return;
  }
  track.names = std::move(fresh.names);
  track.frames = fresh.frames;
  track.frame_states.resize(std::min(track.frame_states.size(), track.names.size()));
  track.range.clear();
  if (track.width == 0) {
    track.width = fresh.width;
    track.height = fresh.height;
    track.layers = fresh.layers;
  }
  track.set_in_out(track.in(), track.out());

  const long long new_end = static_cast<long long>(track.begin) + track.out();
  if (old_end <= composition.tm_n && new_end > composition.tm_n) {
    composition.set_timeline_length(clamped_frame(new_end), true);
  }
  if (old_end != composition.tm_l || new_end <= old_end) return;
  const bool at_the_end = composition.tm_t >= static_cast<double>(old_end - 2);
  composition.set_workarea_end(clamped_frame(new_end));
  if (!composition.playing && at_the_end && composition.tm_t <= static_cast<double>(old_end)) {
    composition.set_current_time(static_cast<double>(new_end - 2));
  }
}

bool can_rescan_selected(const state& composition) {
  const track_info* track = composition.selected_track();
  return track && can_rescan(*track);
}

bool can_watch_selected(const state& composition) {
  const track_info* track = composition.selected_track();
  return track && can_watch(*track);
}

void layer_rescan_sequence(state& composition) {
  if (track_info* track = composition.selected_track()) rescan(composition, *track);
}

void layer_watch_sequence(state& composition) {
  const track_info* track = composition.selected_track();
  if (!track || !can_watch(*track)) return;
  if (!composition.watcher) composition.watcher = std::make_shared<platform::folder_watcher>();
  if (composition.watcher->watches(track->id)) {
    composition.watcher->forget(track->id);
  } else {
    composition.watcher->watch(track->id, track->path.empty() ? "." : track->path);
  }
}

bool watches_selected(const state& composition) {
  const track_info* track = composition.selected_track();
  return track && composition.watcher && composition.watcher->watches(track->id);
}

void poll_watches(state& composition) {
  if (!composition.watcher || composition.watcher->empty()) return;
  for (const int id : composition.watcher->poll()) {
    const int index = composition.index_of_id(id);
    if (index >= 0) rescan(composition, composition.track_at(index));
  }
}

}  // namespace ksn
