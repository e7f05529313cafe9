#include "composition/layer_state.h"

#include <algorithm>
#include <map>

#include "composition/undo.h"

namespace ksn {
namespace {

template <class Test>
bool all_selected(const state& composition, Test test) {
  return composition.doc.has_selection() &&
         std::all_of(composition.doc.selection.begin(), composition.doc.selection.end(),
                     [&](int index) { return test(composition.doc.track_at(index)); });
}

template <class Action, class Mode>
void set_mode(state& composition, Mode layer_look::*field, Mode mode) {
  std::map<int, Mode> old_values;
  bool changes = false;
  for (const int index : composition.doc.selection) {
    track_info& track = composition.doc.track_at(index);
    old_values.emplace(track.id, track.look.*field);
    changes = changes || track.look.*field != mode;
    track.look.*field = mode;
  }
  if (changes) composition.set_undo_action(std::make_shared<Action>(std::move(old_values), mode));
}

}  // namespace

void toggle_in_selection(state& composition, bool_field field) {
  for (const int index : composition.doc.selection) {
    bool& value = field(composition.doc.track_at(index));
    value = !value;
  }
}

bool on_in_selection(const state& composition, bool_field field) {
  // The reference that comes back is only read.
  return all_selected(composition, [&](const track_info& track) { return field(const_cast<track_info&>(track)); });
}

void layer_toggle_disable_cc(state& composition) {
  for (const int index : composition.doc.selection) {
    bool& value = composition.doc.track_at(index).look.tf.disable_cc;
    value = !value;
  }
}

bool disable_cc_in_selection(const state& composition) {
  return all_selected(composition, [](const track_info& track) { return track.look.tf.disable_cc; });
}

void layer_toggle_difference(state& composition) {
  for (const int index : composition.doc.selection) {
    ksn::blend_type& blend = composition.doc.track_at(index).look.blend_type;
    if (blend == blend_type::normal) {
      blend = blend_type::difference;
    } else if (blend == blend_type::difference) {
      blend = blend_type::normal;
    }
  }
}

bool difference_in_selection(const state& composition) {
  return all_selected(composition,
                      [](const track_info& track) { return track.look.blend_type == blend_type::difference; });
}

void set_alpha_mode(state& composition, alpha_type mode) {
  set_mode<undo_alpha_mode_change>(composition, &layer_look::alpha_type, mode);
}

void set_blend_mode(state& composition, blend_type mode) {
  set_mode<undo_blend_mode_change>(composition, &layer_look::blend_type, mode);
}

void set_depth_mode(state& composition, depth_blend_type mode) {
  set_mode<undo_depth_mode_change>(composition, &layer_look::depth_blend_type, mode);
}

}  // namespace ksn
