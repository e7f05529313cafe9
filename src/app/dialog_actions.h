// File dialogs of actions that are run without their value, and the error lines of what a user runs in the window.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "command/engine.h"
#include "platform/desktop.h"

namespace app {

class preview_maker;

struct dialog_parts {
  command::engine& engine;
  std::function<platform::desktop*()> desktop;            // null while there is no window
  std::function<std::string(std::string_view key)> text;  // of the message catalogue
  std::function<void()> done;                             // after each action that ran
  // The file that choices are kept in from run to run; empty for none. May be empty itself.
  std::function<std::string()> choices_file = nullptr;
  preview_maker* previews = nullptr;  // none are shown without
};

// Asks for the files of all actions that have a question, where there is a window. Such an action is to be run by
// itself and not inside run_and_tell(): while its dialog is open no command is under way, and lines of other instances
// are carried out. The parts are copied.
void ask_with_dialogs(const dialog_parts& parts);

// Runs `work` as a command, its error lines also in one message box at the end. From inside a command it only runs it:
// who gave that one hears of the lines.
void run_and_tell(command::engine& engine, platform::desktop& desktop, const std::function<void()>& work);

}  // namespace app
