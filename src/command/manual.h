// The manual page, the completions of the shells and the help on one name, made from the tables.
#pragma once

#include <string>

#include "command/engine.h"

namespace command {

// kestrin(1) for man, with every action and field.
std::string manual_page(const engine& engine, const std::string& version);

// Scripts that complete options, the words that they take, and files.
std::string bash_completion(const engine& engine);
std::string zsh_completion(const engine& engine);
std::string fish_completion(const engine& engine);

// Help on one action or field with an example, or all rows of a group by its title in the reference or a part of it,
// "work area" or "Work area and timeline"; empty when nothing has that name.
std::string help_on(const engine& engine, const std::string& topic);

// The action or field, or with `or_group` the group of actions, that was most likely meant by a mistyped name; empty
// when none comes near.
std::string nearest_name(const engine& engine, const std::string& name, bool or_group = false);

}  // namespace command
