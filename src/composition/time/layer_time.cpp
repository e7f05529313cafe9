#include "composition/time/layer_time.h"

#include <algorithm>
#include <vector>

#include "composition/editing/undo.h"
#include "composition/time/frame_numbers.h"

namespace ksn {
namespace {

int first_frame_of(const track_info& track) {
  return clamped_frame(static_cast<long long>(track.timing.begin) + track.in());
}

int end_of(const track_info& track) {
  return clamped_frame(static_cast<long long>(track.timing.begin) + track.out());
}

void move_in_time(track_info& track, long long frames) {
  track.timing.begin = clamped_frame(track.timing.begin + frames);
}

// Moves each selected layer so that `point` of it lies at the current frame.
template <class Point>
void align(state& composition, Point point) {
  const undo_capture before(composition);
  const long long now = static_cast<long long>(composition.doc.tm_t);
  for (const int index : composition.doc.selection) {
    track_info& track = composition.doc.track_at(index);
    move_in_time(track, now - point(track));
  }
  before.remember(composition, undo_name{"align_at_current"});
}

void shift(state& composition, int frames) {
  track_info* track = composition.doc.selected_track();
  if (!track) return;
  const undo_capture before(composition);
  move_in_time(*track, frames);
  before.remember(composition, undo_name{"move_in_timeline"}, undo_rule::as_left, false);
}

void place_after(track_info& track, const track_info& previous) {
  track.timing.begin = clamped_frame(static_cast<long long>(previous.timing.begin) + previous.out() - track.in());
}

void resize(state& composition, int first, int end) {
  if (!can_resize_in_time(composition)) return;
  track_info& track = *composition.doc.selected_track();
  track.timing.begin = first;
  track.timing.retime = (end - first) / static_cast<double>(std::max(track.source.frames, 1));
  track.set_in_out(0, track.length());
}

}  // namespace

void layer_go_to_begin(state& composition) {
  if (const track_info* track = composition.doc.selected_track()) composition.doc.set_current_time(track->timing.begin);
}

void layer_go_to_end(state& composition) {
  if (const track_info* track = composition.doc.selected_track()) composition.doc.set_current_time(track->layer_end());
}

void layer_go_to_in(state& composition) {
  if (const track_info* track = composition.doc.selected_track())
    composition.doc.set_current_time(first_frame_of(*track));
}

void layer_go_to_out(state& composition) {
  if (const track_info* track = composition.doc.selected_track()) composition.doc.set_current_time(end_of(*track));
}

void layer_align_begin(state& composition) {
  align(composition, [](const track_info& track) { return track.timing.begin; });
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
  track_info* track = composition.doc.selected_track();
  if (track) track->set_in(clamped_frame(static_cast<long long>(composition.doc.tm_t) - track->timing.begin));
}

void layer_set_out_at_current(state& composition) {
  track_info* track = composition.doc.selected_track();
  if (track) track->set_out(clamped_frame(static_cast<long long>(composition.doc.tm_t) - track->timing.begin));
}

void layer_shift_left(state& composition) {
  shift(composition, -1);
}

void layer_shift_right(state& composition) {
  shift(composition, 1);
}

void layer_position_after(state& composition) {
  const undo_capture before(composition);
  const std::vector<int> chain(composition.doc.selection.begin(), composition.doc.selection.end());
  if (chain.size() == 1 && chain.front() + 1 < composition.doc.track_count()) {
    place_after(composition.doc.track_at(chain.front()), composition.doc.track_at(chain.front() + 1));
  }
  for (std::size_t i = chain.size(); i-- > 1;) {
    place_after(composition.doc.track_at(chain[i - 1]), composition.doc.track_at(chain[i]));
  }
  if (!before.layers_changed(composition)) return;

  int last_end = 0;
  for (const int index : chain) last_end = std::max(last_end, composition.doc.track_at(index).layer_end());
  if (last_end > composition.doc.tm_n) composition.doc.set_timeline_length(last_end, true);
  composition.doc.tm_l = std::clamp(last_end, composition.doc.tm_l, composition.doc.tm_n);
  before.remember(composition, undo_name{"position_after"});
}

bool can_resize_in_time(const state& composition) {
  const track_info* track = composition.doc.selected_track();
  return track && track->source.is_single_frame();
}

void layer_resize_to_timeline(state& composition) {
  resize(composition, 0, composition.doc.tm_n);
}

void layer_resize_to_workarea(state& composition) {
  resize(composition, composition.doc.tm_f, composition.doc.tm_l);
}

void workarea_set_to_selection(state& composition) {
  if (!composition.doc.has_selection()) return;
  int first = frame_limit;
  int last = -frame_limit;
  for (const int index : composition.doc.selection) {
    first = std::min(first, first_frame_of(composition.doc.track_at(index)));
    last = std::max(last, end_of(composition.doc.track_at(index)));
  }
  composition.doc.set_workarea_begin(first);
  composition.doc.set_workarea_end(last);
}

}  // namespace ksn
