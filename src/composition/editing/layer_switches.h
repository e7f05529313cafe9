// Switches and modes of layers.
#pragma once

#include "composition/state.h"

namespace ksn {

// Where a layer keeps a switch.
using bool_field = bool& (*)(track_info&);

// Turns a switch of every selected layer over.
void toggle_in_selection(state& composition, bool_field field);
// Whether there is a selection and the switch is on in all of it.
bool on_in_selection(const state& composition, bool_field field);
void layer_toggle_disable_cc(state& composition);
bool disable_cc_in_selection(const state& composition);
// In every selected layer `normal` becomes `difference` and the reverse; other modes stay.
void layer_toggle_difference(state& composition);
bool difference_in_selection(const state& composition);

// Sets a mode on every selected layer. Undoable.
void set_alpha_mode(state& composition, alpha_type mode);
void set_blend_mode(state& composition, blend_type mode);
void set_depth_mode(state& composition, depth_blend_type mode);

}  // namespace ksn
