// Requests of the document to the frame cache for its layers.
#pragma once

#include "composition/state.h"

namespace ksn {

// The frames of a layer's source leave the cache, whether the layer is in the stack or not.
void drop_from_cache(const state& composition, const track_info& track);

// For every selected layer: the frame at the current time, the frames whose files are newer, all frames leave the
// cache.
void layer_update_frame(state& composition);
void layer_update_modified(state& composition);
void layer_remove_from_cache(state& composition);
void update_all_layers(state& composition);
// Asks for the frames of the only selected layer, or of all layers, ahead of their use.
void layer_preload_into_cache(state& composition);
void preload_all_layers(state& composition);

}  // namespace ksn
