#include "composition/undo.h"

#include <algorithm>

#include "composition/canvas.h"
#include "composition/frame_numbers.h"
#include "composition/layer_placement.h"
#include "composition/layer_stack.h"

namespace ksn {

void undo_action::apply(state& composition) {
  if (!is_applicable(composition)) return;
  swap(composition);
  undone_ = !undone_;
}

void state::set_undo_action(std::shared_ptr<undo_action> action) {
  undo_stack = std::move(action);
}

bool state::can_undo() const {
  return undo_stack && undo_stack->is_applicable(*this);
}

void state::undo() {
  // The action may be replaced while it works.
  if (const std::shared_ptr<undo_action> action = undo_stack) action->apply(*this);
}

time_fields times_of(const track_info& track) {
  return {track.timing.begin, track.timing.sbegin_f, track.timing.send_f};
}

void set_times(track_info& track, const time_fields& times) {
  track.timing.begin = times.begin;
  track.timing.sbegin_f = times.sbegin_f;
  track.timing.send_f = times.send_f;
}

layer_times selected_times(const state& composition) {
  layer_times times;
  for (const int index : composition.doc.selection) {
    const track_info& track = composition.doc.track_at(index);
    times.emplace(track.id, times_of(track));
  }
  return times;
}

std::set<int> selected_ids(const state& composition) {
  std::set<int> ids;
  for (const int index : composition.doc.selection) ids.insert(composition.doc.track_at(index).id);
  return ids;
}

void undo_align_at_current::swap(state& composition) {
  for (const int index : composition.doc.selection) {
    track_info& track = composition.doc.track_at(index);
    set_times(track, before_.at(track.id));
  }
  std::swap(before_, after_);
}

void undo_position_after::swap(state& composition) {
  undo_align_at_current::swap(composition);
  if (timeline_extent{composition.doc.tm_n, composition.doc.tm_l} == after_) {
    composition.doc.set_timeline_length(before_.tm_n, true);
    composition.doc.set_workarea_end(before_.tm_l);
  }
  std::swap(before_, after_);
}

bool undo_move_in_timeline::is_applicable(const state& composition) const {
  const int index = composition.doc.index_of_id(id_);
  return index >= 0 && times_of(composition.doc.track_at(index)) == after_;
}

void undo_move_in_timeline::swap(state& composition) {
  set_times(composition.doc.track_at(composition.doc.index_of_id(id_)), before_);
  std::swap(before_, after_);
}

void undo_multiple_move_in_timeline::swap(state& composition) {
  offset_ = -offset_;
  for (const int index : composition.doc.selection) {
    track_info& track = composition.doc.track_at(index);
    track.timing.begin = clamped_frame(static_cast<long long>(track.timing.begin) + offset_);
  }
}

void undo_layer_move::swap(state& composition) {
  offset_ = {-offset_.x, -offset_.y};
  for (const int index : composition.doc.selection) move_position(composition.doc.track_at(index), offset_);
}

bool undo_layer_move_crop::is_applicable(const state& composition) const {
  const track_info* track = composition.doc.selected_track();
  return track && track->id == id_ && track->placement.crop &&
         crop_fields{track->placement.crop_xy, track->placement.crop_wh} == after_;
}

void undo_layer_move_crop::swap(state& composition) {
  track_info& track = *composition.doc.selected_track();
  track.placement.crop_xy = before_.xy;
  track.placement.crop_wh = before_.wh;
  std::swap(before_, after_);
}

bool undo_canvas_change::is_applicable(const state& composition) const {
  const track_info* track = composition.doc.selected_track();
  return track && track->id == id_ && has_canvas(*track);
}

void undo_canvas_change::swap(state& composition) {
  track_info& track = *composition.doc.selected_track();
  img::image_ptr now = canvas_at(track, frame_);
  set_canvas(composition, track, frame_, std::move(other_));
  other_ = std::move(now);
}

undo_delete_layer::undo_delete_layer(const state& composition, std::vector<int> indices,
                                     std::vector<track_info> records, std::vector<std::pair<int, int>> alpha_users)
    : count_after_(composition.doc.track_count()),
      indices_(std::move(indices)),
      records_(std::move(records)),
      alpha_users_(std::move(alpha_users)),
      several_(indices_.size() > 1) {}

std::string undo_delete_layer::text_key() const {
  return several_ ? "undo_delete_layers" : "undo_delete_layer";
}

bool undo_delete_layer::is_applicable(const state& composition) const {
  return !undone() && composition.doc.track_count() == count_after_;
}

void undo_delete_layer::swap(state& composition) {
  for (track_info& record : records_) reopen_source(composition, record);
  insert_layers(composition, indices_, std::move(records_));
  composition.doc.selection = std::set<int>(indices_.begin(), indices_.end());
  std::map<int, int> sources(alpha_users_.begin(), alpha_users_.end());
  for (track_info& track : composition.doc.tracks) {
    const auto found = sources.find(track.id);
    if (found != sources.end() && track.look.alpha_source_id == 0) track.look.alpha_source_id = found->second;
  }
  drop_dangling_alpha_sources(composition);
  records_.clear();
}

}  // namespace ksn
