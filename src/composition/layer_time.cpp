#include "composition/layer_time.h"

#include <algorithm>
#include <vector>

#include "composition/frame_numbers.h"
#include "composition/undo.h"

namespace ksn {
namespace {

int first_frame_of(const track_info& track) {
  return clamped_frame(static_cast<long long>(track.begin) + track.in());
}

int end_of(const track_info& track) {
  return clamped_frame(static_cast<long long>(track.begin) + track.out());
}

void move_in_time(track_info& track, long long frames) {
  track.begin = clamped_frame(track.begin + frames);
}

// Moves each selected layer so that `point` of it lies at the current frame.
template <class Point>
void align(state& composition, Point point) {
  layer_times before = selected_times(composition);
  const long long now = static_cast<long long>(composition.tm_t);
  for (const int index : composition.selection) {
    track_info& track = composition.track_at(index);
    move_in_time(track, now - point(track));
  }
  if (before == selected_times(composition)) return;
  composition.set_undo_action(std::make_shared<undo_align_at_current>(composition, std::move(before)));
}

void shift(state& composition, int frames) {
  track_info* track = composition.selected_track();
  if (!track) return;
  const time_fields before = times_of(*track);
  move_in_time(*track, frames);
  if (times_of(*track) == before) return;
  composition.set_undo_action(std::make_shared<undo_move_in_timeline>(*track, before));
}

void place_after(track_info& track, const track_info& previous) {
  track.begin = clamped_frame(static_cast<long long>(previous.begin) + previous.out() - track.in());
}

void resize(state& composition, int first, int end) {
  if (!can_resize_in_time(composition)) return;
  track_info& track = *composition.selected_track();
  track.begin = first;
  track.retime = (end - first) / static_cast<double>(std::max(track.frames, 1));
  track.set_in_out(0, track.length());
}

}  // namespace

void layer_go_to_begin(state& composition) {
  if (const track_info* track = composition.selected_track()) composition.set_current_time(track->begin);
}

void layer_go_to_end(state& composition) {
  if (const track_info* track = composition.selected_track()) composition.set_current_time(track->layer_end());
}

void layer_go_to_in(state& composition) {
  if (const track_info* track = composition.selected_track()) composition.set_current_time(first_frame_of(*track));
}

void layer_go_to_out(state& composition) {
  if (const track_info* track = composition.selected_track()) composition.set_current_time(end_of(*track));
}

void layer_align_begin(state& composition) {
  align(composition, [](const track_info& track) { return track.begin; });
}

void layer_align_end(state& composition) {
  align(composition, [](const track_info& track) { return track.layer_end(); });
}

void layer_align_in(state& composition) {
  align(composition, first_frame_of);
}

void layer_align_out(state& composition) {
  align(composition, end_of);
}

void layer_set_in_at_current(state& composition) {
  track_info* track = composition.selected_track();
  if (track) track->set_in(clamped_frame(static_cast<long long>(composition.tm_t) - track->begin));
}

void layer_set_out_at_current(state& composition) {
  track_info* track = composition.selected_track();
  if (track) track->set_out(clamped_frame(static_cast<long long>(composition.tm_t) - track->begin));
}

void layer_shift_left(state& composition) {
  shift(composition, -1);
}

void layer_shift_right(state& composition) {
  shift(composition, 1);
}

void layer_position_after(state& composition) {
  layer_times before = selected_times(composition);
  const timeline_extent extent_before{composition.tm_n, composition.tm_l};
  const std::vector<int> chain(composition.selection.begin(), composition.selection.end());
  if (chain.size() == 1 && chain.front() + 1 < composition.track_count()) {
    place_after(composition.track_at(chain.front()), composition.track_at(chain.front() + 1));
  }
  for (std::size_t i = chain.size(); i-- > 1;) {
    place_after(composition.track_at(chain[i - 1]), composition.track_at(chain[i]));
  }
  if (before == selected_times(composition)) return;

  int last_end = 0;
  for (const int index : chain) last_end = std::max(last_end, composition.track_at(index).layer_end());
  if (last_end > composition.tm_n) composition.set_timeline_length(last_end, true);
  composition.tm_l = std::clamp(last_end, composition.tm_l, composition.tm_n);
  composition.set_undo_action(std::make_shared<undo_position_after>(composition, std::move(before), extent_before));
}

bool can_resize_in_time(const state& composition) {
  const track_info* track = composition.selected_track();
  return track && track->is_single_frame();
}

void layer_resize_to_timeline(state& composition) {
  resize(composition, 0, composition.tm_n);
}

void layer_resize_to_workarea(state& composition) {
  resize(composition, composition.tm_f, composition.tm_l);
}

void workarea_set_to_selection(state& composition) {
  if (!composition.has_selection()) return;
  int first = frame_limit;
  int last = -frame_limit;
  for (const int index : composition.selection) {
    first = std::min(first, first_frame_of(composition.track_at(index)));
    last = std::max(last, end_of(composition.track_at(index)));
  }
  composition.set_workarea_begin(first);
  composition.set_workarea_end(last);
}

}  // namespace ksn
