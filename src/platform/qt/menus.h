// The menu bar's menus and context menus.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/desktop.h"

class QMenu;
class QPoint;

namespace platform {

// Adds the entries to a menu, in which each tells `chosen` of itself.
void fill_menu(QMenu& menu, const std::vector<menu_entry>& entries,
               const std::function<void(const menu_entry& entry)>& chosen);

// Runs a context menu at a point of the desktop; the id of the chosen entry, -1 for none.
int run_menu(const std::vector<menu_entry>& entries, const QPoint& at);

}  // namespace platform
