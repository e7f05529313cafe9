// Another source in the place of a layer's own.
#pragma once

#include <string>

#include "composition/state.h"

namespace ksn {

// The only selected layer shows `path` instead, opened as an added path is; all else of the layer stays, the in and out
// point as fractions. The name follows when it was the source's own. False, after an error line, when nothing opens.
bool layer_replace_with(state& composition, const std::string& path);

bool can_replace_with_neighbour(const state& composition);
// The next or previous file in the source's folder by natural_less, from the end to the start: of pictures for a still,
// one that is not of the same sequence for a sequence, of the same extension for a clip.
void layer_replace_with_next(state& composition);
void layer_replace_with_previous(state& composition);

}  // namespace ksn
