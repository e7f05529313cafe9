// Layers along the timeline.
#pragma once

#include "composition/state.h"

namespace ksn {

// The current time goes to a point of the selected layer; the clock stops.
void layer_go_to_begin(state& composition);
void layer_go_to_end(state& composition);
void layer_go_to_in(state& composition);
void layer_go_to_out(state& composition);

// Each selected layer moves so that the point lies at the current frame. Undoable.
void layer_align_begin(state& composition);
void layer_align_end(state& composition);
void layer_align_in(state& composition);
void layer_align_out(state& composition);

// The in or out point of the selected layer goes to the current frame.
void layer_set_in_at_current(state& composition);
void layer_set_out_at_current(state& composition);

// The selected layer moves by one frame. Undoable.
void layer_shift_left(state& composition);
void layer_shift_right(state& composition);

// Each selected layer but the last starts where the next one ends; one alone starts where the layer below it ends.
// Timeline and work area grow with the last end. Undoable.
void layer_position_after(state& composition);

// Layers whose one frame can be held for any time.
bool can_resize_in_time(const state& composition);
void layer_resize_to_timeline(state& composition);
void layer_resize_to_workarea(state& composition);

// The work area becomes what the selected layers cover.
void workarea_set_to_selection(state& composition);

}  // namespace ksn
