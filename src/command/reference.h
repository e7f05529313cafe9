// The help text and the command reference, made from the tables.
#pragma once

#include <string>
#include <vector>

#include "command/engine.h"
#include "command/keys.h"

namespace command {

// The rows by group, and in a group in the order in which they were added.
std::vector<const action*> rows_of(const engine& engine);

// Every action and field in short, for a terminal.
std::string help_text(const engine& engine);
// The same as tables, which docs/commands.md holds between its two marker lines.
std::string reference_markdown(const engine& engine);
// The bindings as tables in the order of the reference, which docs/keyboard.md holds in the same way.
std::string keyboard_markdown(const engine& engine, const key_table& keys);
// The keys of the rows as the text of assets/keydefs.txt, without its last line feed.
std::string key_definitions(const engine& engine);

}  // namespace command
