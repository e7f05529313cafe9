// Actions on lookup tables, which the list of tables offers at its end.
#pragma once

#include "ui/area.h"
#include "ui/panel/edits.h"

namespace ui::panel {

// import_lookup_table, export_lookup_table and delete_unused_lookup_tables. Both arguments outlive the engine's use of
// them.
void add_lookup_actions(workbench& bench, edits& changes);

}  // namespace ui::panel
