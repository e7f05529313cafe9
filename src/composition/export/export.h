// A composition as a script of another program.
#pragma once

#include <string>
#include <vector>

#include "composition/state.h"

namespace ksn {

// ExtendScript (ECMAScript 3) that rebuilds the composition as a comp of After Effects. ASCII only: what is not stands
// as \u escapes, so that the script does not depend on how it is decoded.
std::string after_effects_script(const state& composition);

// Nodes that rebuild the composition in Nuke, UTF-8. The format is described by what that program writes itself: knobs
// and values as Tcl words, and a stack of nodes from which each takes its inputs, the last one first.
std::string nuke_script(const state& composition);
// The nodes of these layers alone, without root and viewer. Indices from the top of the stack, ascending.
std::string nuke_nodes(const state& composition, const std::vector<int>& layers);

}  // namespace ksn
