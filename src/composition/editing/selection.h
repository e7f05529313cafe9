// Which layers are selected, and groups of them.
#pragma once

#include "composition/state.h"

namespace ksn {

void layer_select_none(state& composition);
void layer_select_all(state& composition);
// One step from the topmost (up) or lowest (down) selected layer, to a single layer; at an end nothing moves. With no
// selection up takes the last layer and down the first.
void layer_select_up(state& composition);
void layer_select_down(state& composition);
void layer_select_first(state& composition);
void layer_select_last(state& composition);

bool can_assign_group(const state& composition);
// A new group number, at least 100, for the selected layers, two or more.
void layer_assign_group(state& composition);
bool can_select_group(const state& composition);
// The layers of the selected layer's group join the selection.
void layer_select_group(state& composition);

}  // namespace ksn
