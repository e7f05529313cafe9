// Layers that move within the stack, leave it, come back or are multiplied.
#pragma once

#include <set>
#include <vector>

#include "composition/state.h"

namespace ksn {

// --- what the operations are made of ---

// Puts the records where they then have these indices, ascending. The selection keeps its layers.
void insert_layers(state& composition, const std::vector<int>& indices, std::vector<track_info> records);
// Takes layers out, with everything that is kept for them elsewhere. The selection keeps the layers that remain.
std::vector<track_info> take_layers(state& composition, const std::set<int>& indices);
// A copy with an id of its own, which shares frame names, clip and pictures with its model.
track_info copy_of(const track_info& track);
// Alpha sources that no layer has any more become none.
void drop_dangling_alpha_sources(state& composition);
// Opens the clip of a record again that let go of it. A clip that can't be opened leaves the layer without pictures;
// the error code of its reader then, else 0.
int reopen_source(state& composition, track_info& record);

// --- operations ---

// The selected layer changes places with its neighbour.
void layer_move_selected_up(state& composition);
void layer_move_selected_down(state& composition);
// A layer comes to another index, as far as the stack goes; the selection keeps its layers.
void move_layer(state& composition, int from, int to);
// Takes out the selected layers; nothing is selected then. Undoable.
void layer_delete_selected(state& composition);
// A copy right below each selected layer, named with an apostrophe.
void layer_duplicate(state& composition);
// Layers that the current time lies strictly inside: the selected ones, or with no selection the only one.
std::vector<int> layers_to_split(const state& composition);
// Each of them ends at the current time, and a copy below it goes on from there.
void layer_duplicate_and_split(state& composition);
bool can_expand_into_layers(const state& composition);
// A layer for each picture of the selected layer's file, in its place.
void expand_into_layers(state& composition);
bool can_embed_layer(const state& composition);
// Keeps the picture of the selected layer in the document; its file is not needed any more.
void embed_layer(state& composition);

}  // namespace ksn
