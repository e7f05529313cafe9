// Steps through the timeline that need no clock.
#pragma once

#include "composition/state.h"

namespace ksn {

// All of them stop the clock.
void first_frame(state& composition);  // of the work area
void last_frame(state& composition);   // of the work area
void prev_frame(state& composition);
void next_frame(state& composition);

}  // namespace ksn
