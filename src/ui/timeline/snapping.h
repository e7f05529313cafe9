// Frames that a gesture along the timeline is drawn to.
#pragma once

#include <optional>
#include <set>
#include <vector>

#include "composition/document.h"

namespace ui {

// Ascending: the ends of all layers but those in `moved` (ids), of the work area, of the timeline, and the time cursor
// unless it is what moves.
std::vector<int> snap_frames(const ksn::document& doc, const std::set<int>& moved, bool with_cursor);

// The nearest of `frames`, or of the whole seconds at that rate in hundredths of a frame per second, to `frame` within
// `reach` frames.
std::optional<int> snapped(const std::vector<int>& frames, int fpcs, double frame, double reach);

}  // namespace ui
