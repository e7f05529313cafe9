#include "composition/opening/watching.h"

#include <algorithm>

#include "composition/opening/sequence.h"
#include "composition/time/frame_numbers.h"
#include "platform/file_watch.h"

namespace ksn {
bool can_rescan(const track_info& track) {
  return track.source.type == source_type::sequence && !track.source.mask.empty();
}

bool can_watch(const track_info& track) {
  return can_rescan(track) && track.source.range.empty();
}

void rescan(state& composition, track_info& track) {
  if (!can_rescan(track)) return;
  const long long old_end = static_cast<long long>(track.timing.begin) + track.out();
  track_info fresh;
  const std::string fallback_name(track.source.names.empty() ? std::string_view() : track.source.names.front());
  if (scan_folder(track.source.path + track.source.mask, fresh, composition.settings.default_alpha_type, true,
                  fallback_name) == scan_result::nothing) {
    return;
  }
  track.source.names = std::move(fresh.source.names);
  track.source.frames = fresh.source.frames;
  track.source.frame_states.resize(std::min(track.source.frame_states.size(), track.source.names.size()));
  track.source.range.clear();
  if (track.source.width == 0) {
    track.source.width = fresh.source.width;
    track.source.height = fresh.source.height;
    track.source.image_layers = fresh.source.image_layers;
  }
  track.set_in_out(track.in(), track.out());
  composition.touch();

  const long long new_end = static_cast<long long>(track.timing.begin) + track.out();
  if (old_end <= composition.doc.tm_n && new_end > composition.doc.tm_n) {
    composition.doc.set_timeline_length(clamped_frame(new_end), true);
  }
  if (old_end != composition.doc.tm_l || new_end <= old_end) return;
  const bool at_the_end = composition.doc.tm_t >= static_cast<double>(old_end - 2);
  composition.doc.set_workarea_end(clamped_frame(new_end));
  if (!composition.doc.playing && at_the_end && composition.doc.tm_t <= static_cast<double>(old_end)) {
    composition.doc.set_current_time(static_cast<double>(new_end - 2));
  }
}

bool can_rescan_selected(const state& composition) {
  const track_info* track = composition.doc.selected_track();
  return track && can_rescan(*track);
}

bool can_watch_selected(const state& composition) {
  const track_info* track = composition.doc.selected_track();
  return track && can_watch(*track);
}

void layer_rescan_sequence(state& composition) {
  if (track_info* track = composition.doc.selected_track()) rescan(composition, *track);
}

void layer_watch_sequence(state& composition) {
  const track_info* track = composition.doc.selected_track();
  if (!track || !can_watch(*track)) return;
  if (!composition.watcher) composition.watcher = std::make_shared<platform::folder_watcher>();
  if (composition.watcher->watches(track->id)) {
    composition.watcher->forget(track->id);
  } else {
    composition.watcher->watch(track->id, track->source.path.empty() ? "." : track->source.path);
  }
}

bool watches_selected(const state& composition) {
  const track_info* track = composition.doc.selected_track();
  return track && composition.watcher && composition.watcher->watches(track->id);
}

void poll_watches(state& composition) {
  if (!composition.watcher || composition.watcher->empty()) return;
  for (const int id : composition.watcher->poll()) {
    const int index = composition.doc.index_of_id(id);
    if (index >= 0) rescan(composition, composition.doc.track_at(index));
  }
}

}  // namespace ksn
