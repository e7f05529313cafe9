// The strips at the split line: the line itself, the view options and the transport.
#pragma once

#include <memory>

#include "ui/area.h"

namespace ui {

// The ground below the split and the two rules on it. The split line takes the pointer: a drag shows more or fewer
// layer rows, a double click hides the stack or shows it again.
std::shared_ptr<ui_object> make_splitter(workbench& bench);

// The options of the view, 15 buttons in the first row below the split. A right click opens a button's menu.
std::shared_ptr<ui_object> make_options(workbench& bench);

// The transport, 7 buttons in the second row.
std::shared_ptr<ui_object> make_controls(workbench& bench);

// The transport over the lower end of the preview while the timeline is hidden; it shows while the pointer is near.
std::shared_ptr<ui_object> make_floating_controls(workbench& bench);

}  // namespace ui
