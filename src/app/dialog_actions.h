// Actions without a value that ask for one: file dialogs in front of their value forms.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "command/engine.h"
#include "platform/desktop.h"

namespace app {

struct dialog_parts {
  command::engine& engine;
  std::function<platform::desktop*()> desktop;            // null while there is no window
  std::function<std::string(std::string_view key)> text;  // of the message catalogue
  std::function<void()> done;                             // after each action that ran
};

// Registers add_layer, the open, save and export actions, execute_cmdfile and layer_replace_with without a value.
// Without a window each is one line that names its value form. The parts are copied; the engine must outlive the table.
void register_dialog_actions(const dialog_parts& parts);

// Whether the action without a value asks the user for one. It is to be run by itself and not inside run_and_tell():
// while a dialog is open no command is under way, and lines of other instances are carried out.
bool opens_dialog(std::string_view action);

// Runs `work` as a command, its error lines also in one message box at the end. From inside a command it only runs it:
// who gave that one hears of the lines.
void run_and_tell(command::engine& engine, platform::desktop& desktop, const std::function<void()>& work);

}  // namespace app
