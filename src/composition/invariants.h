// Invariants of the document, which hold after every operation.
#pragma once

#include <string>

#include "composition/state.h"

namespace ksn {

// The first statement that does not hold, with the values at hand; empty when all do: the selection lies within the
// stack, the work area within the timeline, ids are unique, every layer has an in point in front of its out point, its
// frames are as many as its names, and alpha sources are layers of the stack or none.
std::string broken_invariant(const state& composition);

// Ends a debug build at a broken invariant, with the statement and the name of the operation; nothing in others.
void check_invariants(const state& composition, const char* operation);

}  // namespace ksn
