#include "composition/editing/layer_switches.h"

#include <algorithm>

#include "composition/editing/undo.h"

namespace ksn {
namespace {

template <class Test>
bool all_selected(const state& composition, Test test) {
  return composition.doc.has_selection() &&
         std::all_of(composition.doc.selection.begin(), composition.doc.selection.end(),
                     [&](int index) { return test(composition.doc.track_at(index)); });
}

template <class Mode>
void set_mode(state& composition, Mode layer_look::*field, Mode mode, undo_name name) {
  const undo_capture before(composition);
  for (const int index : composition.doc.selection) composition.doc.track_at(index).look.*field = mode;
  before.remember(composition, name, undo_rule::any_left);
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
  set_mode(composition, &layer_look::alpha_type, mode, undo_name{"alpha_mode_change"});
}

void set_blend_mode(state& composition, blend_type mode) {
  set_mode(composition, &layer_look::blend_type, mode, undo_name{"blend_mode_change"});
}

void set_depth_mode(state& composition, depth_blend_type mode) {
  set_mode(composition, &layer_look::depth_blend_type, mode, undo_name{"depth_mode_change"});
}

}  // namespace ksn
