#include "composition/editing/selection.h"

#include <algorithm>
#include <limits>

namespace ksn {

void layer_select_none(state& composition) {
  composition.doc.selection.clear();
}

void layer_select_all(state& composition) {
  composition.doc.selection.clear();
  for (int index = 0; index < composition.doc.track_count(); ++index) {
    composition.doc.selection.insert(composition.doc.selection.end(), index);
  }
}

void layer_select_up(state& composition) {
  if (!composition.doc.has_selection()) return layer_select_last(composition);
  const int index = *composition.doc.selection.begin();
  if (index > 0) composition.doc.selection = {index - 1};
}

void layer_select_down(state& composition) {
  if (!composition.doc.has_selection()) return layer_select_first(composition);
  const int index = *composition.doc.selection.rbegin();
  if (index + 1 < composition.doc.track_count()) composition.doc.selection = {index + 1};
}

void layer_select_first(state& composition) {
  if (composition.doc.track_count() > 0) composition.doc.selection = {0};
}

void layer_select_last(state& composition) {
  if (composition.doc.track_count() > 0) composition.doc.selection = {composition.doc.track_count() - 1};
}

bool can_assign_group(const state& composition) {
  return composition.doc.selection.size() >= 2;
}

void layer_assign_group(state& composition) {
  if (!can_assign_group(composition)) return;
  int highest = 0;
  for (const track_info& track : composition.doc.tracks) highest = std::max(highest, track.group_id);
  if (highest == std::numeric_limits<int>::max()) return;
  const int group = std::max(highest + 1, 100);
  for (const int index : composition.doc.selection) composition.doc.track_at(index).group_id = group;
}

bool can_select_group(const state& composition) {
  const track_info* track = composition.doc.selected_track();
  return track && track->group_id != 0;
}

void layer_select_group(state& composition) {
  if (!can_select_group(composition)) return;
  const int group = composition.doc.selected_track()->group_id;
  for (int index = 0; index < composition.doc.track_count(); ++index) {
    if (composition.doc.track_at(index).group_id == group) composition.doc.selection.insert(index);
  }
}

}  // namespace ksn
