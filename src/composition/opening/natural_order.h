// The order in which people read numbered names.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "composition/opening/frame_names.h"

namespace ksn {

// Runs of digits by value, then the shorter run, then plain bytes; letters without regard to case. A strict weak order;
// allocates nothing.
bool natural_less(std::string_view a, std::string_view b);

// Sorts by natural_less, in linear time when the names differ in one number that counts on.
void natural_sort(std::vector<std::string>& names);
void natural_sort(name_list& names);

}  // namespace ksn
