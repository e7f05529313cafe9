#include "composition/selection.h"

#include <algorithm>
#include <limits>

namespace ksn {

void layer_select_none(state& composition) {
  composition.selection.clear();
}

void layer_select_all(state& composition) {
  composition.selection.clear();
  for (int index = 0; index < composition.track_count(); ++index) {
    composition.selection.insert(composition.selection.end(), index);
  }
}

void layer_select_up(state& composition) {
  if (!composition.has_selection()) return layer_select_last(composition);
  const int index = *composition.selection.begin();
  if (index > 0) composition.selection = {index - 1};
}

void layer_select_down(state& composition) {
  if (!composition.has_selection()) return layer_select_first(composition);
  const int index = *composition.selection.rbegin();
  if (index + 1 < composition.track_count()) composition.selection = {index + 1};
}

void layer_select_first(state& composition) {
  if (composition.track_count() > 0) composition.selection = {0};
}

void layer_select_last(state& composition) {
  if (composition.track_count() > 0) composition.selection = {composition.track_count() - 1};
}

bool can_assign_group(const state& composition) {
  return composition.selection.size() >= 2;
}

void layer_assign_group(state& composition) {
  if (!can_assign_group(composition)) return;
  int highest = 0;
  for (const track_info& track : composition.tracks) highest = std::max(highest, track.group_id);
  if (highest == std::numeric_limits<int>::max()) return;
  const int group = std::max(highest + 1, 100);
  for (const int index : composition.selection) composition.track_at(index).group_id = group;
}

bool can_select_group(const state& composition) {
  const track_info* track = composition.selected_track();
  return track && track->group_id != 0;
}

void layer_select_group(state& composition) {
  if (!can_select_group(composition)) return;
  const int group = composition.selected_track()->group_id;
  for (int index = 0; index < composition.track_count(); ++index) {
    if (composition.track_at(index).group_id == group) composition.selection.insert(index);
  }
}

}  // namespace ksn
