// Every action by name, in the groups and the order of the command reference.
#pragma once

#include <span>
#include <string_view>

namespace command {

// One name. An action with a value form can be given a value as well; a name that stands twice has its second entry
// only for that.
struct action_name {
  std::string_view group;  // heading in the reference
  std::string_view name;
  std::string_view value_form;  // empty: without a value
  std::string_view help;
};

std::span<const action_name> action_names();

}  // namespace command
