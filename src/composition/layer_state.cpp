#include "composition/layer_state.h"

#include <algorithm>
#include <map>

#include "composition/undo.h"

namespace ksn {
namespace {

template <class Test>
bool all_selected(const state& composition, Test test) {
  return composition.has_selection() && std::all_of(composition.selection.begin(), composition.selection.end(),
                                                    [&](int index) { return test(composition.track_at(index)); });
}

template <class Action, class Mode>
void set_mode(state& composition, Mode track_info::*field, Mode mode) {
  std::map<int, Mode> old_values;
  bool changes = false;
  for (const int index : composition.selection) {
    track_info& track = composition.track_at(index);
    old_values.emplace(track.id, track.*field);
    changes = changes || track.*field != mode;
    track.*field = mode;
  }
  if (changes) composition.set_undo_action(std::make_shared<Action>(std::move(old_values), mode));
}

}  // namespace

void toggle_in_selection(state& composition, bool track_info::*field) {
  for (const int index : composition.selection) {
    bool& value = composition.track_at(index).*field;
    value = !value;
  }
}

bool on_in_selection(const state& composition, bool track_info::*field) {
  return all_selected(composition, [&](const track_info& track) { return track.*field; });
}

void layer_toggle_disable_cc(state& composition) {
  for (const int index : composition.selection) {
    bool& value = composition.track_at(index).tf.disable_cc;
    value = !value;
  }
}

bool disable_cc_in_selection(const state& composition) {
  return all_selected(composition, [](const track_info& track) { return track.tf.disable_cc; });
}

void layer_toggle_difference(state& composition) {
  for (const int index : composition.selection) {
    ksn::blend_type& blend = composition.track_at(index).blend_type;
    if (blend == blend_type::normal) {
      blend = blend_type::difference;
    } else if (blend == blend_type::difference) {
      blend = blend_type::normal;
    }
  }
}

bool difference_in_selection(const state& composition) {
  return all_selected(composition, [](const track_info& track) { return track.blend_type == blend_type::difference; });
}

void set_alpha_mode(state& composition, alpha_type mode) {
  set_mode<undo_alpha_mode_change>(composition, &track_info::alpha_type, mode);
}

void set_blend_mode(state& composition, blend_type mode) {
  set_mode<undo_blend_mode_change>(composition, &track_info::blend_type, mode);
}

void set_depth_mode(state& composition, depth_blend_type mode) {
  set_mode<undo_depth_mode_change>(composition, &track_info::depth_blend_type, mode);
}

}  // namespace ksn
