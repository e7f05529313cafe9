// A save that would write over what it has yet to read.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "composition/state.h"

namespace save {

// The layers that the composite takes pictures from, and those that the picture of one layer does.
std::vector<int> layers_of_composite(const ksn::state& composition);
std::vector<int> layers_of_layer(const ksn::state& composition, int index);

// The first output of the work area, in the order of writing, that is a file from which one of `layers` is to be read
// at a later frame, or with `any_order` at any other; empty when there is none. `name_of` gives the output of a
// timeline frame. Asks the file system, so that links and other ways to a file are seen.
std::string overwritten_source(const ksn::state& composition, const std::vector<int>& layers, bool any_order,
                               const std::function<std::string(int frame)>& name_of);

}  // namespace save
