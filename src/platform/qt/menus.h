// The menu bar's menus and context menus.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/desktop.h"

class QMenu;
class QPoint;

namespace platform {

// Fills a menu of the menu bar with the entries as they are now. `chosen` gets the action and the item.
void fill_menu(QMenu& menu, const std::vector<std::string>& entries,
               const std::function<menu_entry_state(const std::string& action)>& state_of,
               const std::function<void(const std::string& action, int item)>& chosen);

// Runs a context menu at a point of the desktop; the id of the chosen entry, -1 for none.
int run_menu(const std::vector<menu_entry>& entries, const QPoint& at);

}  // namespace platform
