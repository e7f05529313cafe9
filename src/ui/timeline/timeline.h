// The ruler and the layer stack below the split line.
#pragma once

#include <memory>

#include "ui/area.h"
#include "ui/timeline/frame_marks.h"

namespace ui {

// The two share the table of what is known of the frames; the ruler is drawn first and brings it up to date.

// The ruler with the time cursor, the work area and the fields for rate and length.
std::shared_ptr<ui_object> make_timeline(workbench& bench, std::shared_ptr<mark_table> marks);

// One row for each layer that is shown, with its bar on the scale of the ruler, and the time cursor across them.
std::shared_ptr<ui_object> make_tracks(workbench& bench, std::shared_ptr<mark_table> marks);

}  // namespace ui
