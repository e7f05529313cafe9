// Which layers an option addresses.
#pragma once

#include <string_view>
#include <vector>

#include "composition/state.h"

namespace command {

struct layer_set {
  std::vector<int> members;  // indices; those of lone numbers and offsets may lie outside the stack
  bool single = false;       // one number, name or id: the value is taken whole, not as a list
};

// Reads a whole text as a layer set; false, with `set` unspecified, for any other text and for sets of more than a
// million members.
bool parse_layer_set(const ksn::state& composition, std::string_view text, layer_set& set);

// The number that stands for an index in a layer set: from 1, or for an index before the stack from -1 at its end.
inline int layer_number(const ksn::state& composition, int index) {
  return index < 0 ? index - composition.doc.track_count() : index + 1;
}

}  // namespace command
