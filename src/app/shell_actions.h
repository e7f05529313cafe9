// What goes to other programs of the desktop: pictures by mail, the file of a layer, another instance.
#pragma once

#include <functional>

#include "app/shell_watch.h"
#include "command/engine.h"

namespace app {

// Registers mail_screen_as_jpeg, mail_mask_as_png and their like, which save into the temporary folder by the save
// actions; locate_in_explorer with its other names, open_with and launch_new_instance. `shown_time` is the time of the
// picture in the window. A program that is missing is one line; `watch` hears of those that fail. Both must outlive the
// table.
void register_shell_actions(command::engine& engine, std::function<double()> shown_time, shell_watch& watch);

}  // namespace app
