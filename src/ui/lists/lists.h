// Lists over the picture: the keys in force, and what went wrong.
#pragma once

#include <memory>

#include "ui/area.h"
#include "ui/lists/list_panel.h"

namespace ui {

// Every key with what it runs, and what the mouse does on the picture. Typing searches, in what has no key too; a field
// with its value, as opacity=50, is a row as well. Enter or a click runs a row.
std::shared_ptr<list_panel> make_key_list(workbench& bench);
// The error lines with their times; a click copies one, Ctrl+C all of them.
std::shared_ptr<list_panel> make_error_list(workbench& bench);
// The last error lines, for six seconds over the lower left of the preview. A click opens the list.
std::shared_ptr<ui_object> make_messages(workbench& bench, std::shared_ptr<list_panel> list);
// The save queue, over the lower right of the preview while there is something in it: how far each save is, and a cross
// that cancels it or takes it off the list.
std::shared_ptr<ui_object> make_save_list(workbench& bench);

}  // namespace ui
