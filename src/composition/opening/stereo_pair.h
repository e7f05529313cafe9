// The second eye of a stereo pair.
#pragma once

#include "composition/state.h"

namespace ksn {

// Puts a layer for the other eye above the selected one, found by image layers named `left` and `right` (or ending in
// `.left`, `.right`), or for a file without image layers by those words in its path. Each then shows in its eye alone.
// False, and nothing changes, when there is no other eye.
bool add_other_stereo_view(state& composition);

}  // namespace ksn
