// Layers in the picture.
#pragma once

#include "composition/state.h"

namespace ksn {

// Moves within bounds that sums of positions can't overflow.
void move_position(track_info& track, math::point offset);
// Size after scale and pixel aspect, in composition pixels.
math::point displayed_size(const track_info& track);

// Every selected layer moves by a number of pixels. Undoable.
void move_selected_layers(state& composition, math::point offset);
// The selected layer goes back to the centre. Undoable.
void reset_layer_position(state& composition);
// The selected layer moves by half its displayed size; each direction is -1, 0 or 1. Undoable.
void move_by_half_size(state& composition, int direction_x, int direction_y);
// Whether the picture is made inside, as large as somebody wants it: of adjustment and text layers.
bool has_made_size(const track_info& track);
// Gives such a layer another size; its crop scales along.
void resize_made_picture(const state& composition, track_info& track, math::point size);
// Selected adjustment and text layers take the size of the output mask; their crop scales along.
void layer_resize_to_mask(state& composition);

}  // namespace ksn
