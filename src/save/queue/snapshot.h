// The composition as it is at one moment, for work that goes on while the user changes it.
#pragma once

#include <memory>

#include "composition/state.h"

namespace save {

// A copy that shares open sources and pictures with the original, which stay as they are: painting makes a new canvas
// while there is a copy of it. Live layers keep the picture that they show now. It asks nothing of the original and has
// no hooks but the text of the catalogue that savers need. Made and destroyed on the main thread, read on any other.
std::unique_ptr<ksn::state> snapshot(const ksn::state& composition);

}  // namespace save
