// Numbers that change when a layer or a composition comes to show other frames than before.
#pragma once

#include <cstdint>

#include "composition/state.h"

namespace cache {

// Of all that decides the keys of a layer's source frames. The cost does not depend on how many they are.
std::uint64_t identity_of_frames(const ksn::track_info& track, ksn::cache_resolution_type resolution);

// Of all that decides which of these frames the work area shows, and when.
std::uint64_t identity_of_timeline(const ksn::state& composition);

}  // namespace cache
