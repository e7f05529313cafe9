// Menus, made from the rows of the actions: the main menu, and the menus of a right click.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "command/engine.h"
#include "command/keys.h"
#include "platform/desktop.h"

namespace command {

// The source of a menu's entries.
struct menu_source {
  const engine& commands;
  const key_table& keys;
  std::function<std::string(std::string_view key)> text;  // of the message catalogue
};

// The catalogue keys of the main menus, left to right.
std::span<const std::string_view> main_menus();

// The entries of a main menu as they show now: of all rows whose place is in it, in their order, sub-menus included.
std::vector<platform::menu_entry> main_menu(const menu_source& source, std::string_view menu);

// The names of the right-click menus, in the order of context_menus.cpp, which says what each is for.
std::vector<std::string_view> context_menus();

// The entries of a right-click menu as they show now; none for an unknown name. Their ids count from 0.
std::vector<platform::menu_entry> context_menu(const menu_source& source, std::string_view name);
// The command of the entry with that id, for engine::run_command(); empty when there is none.
std::string command_of(const std::vector<platform::menu_entry>& entries, int id);

// One entry as it shows now. `command` is an action, or a field with its value that has a row, such as "zoom=200".
platform::menu_entry entry_of(const menu_source& source, std::string_view command);

}  // namespace command
