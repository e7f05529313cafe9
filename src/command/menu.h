// The main menu: five menus of action names in their order; "-" is a separator.
#pragma once

#include <span>
#include <string_view>

namespace command {

struct menu {
  std::string_view title;  // key of the message catalogue
  int first_identifier;    // an entry's identifier is this plus its position
  std::span<const std::string_view> entries;
};

std::span<const menu> main_menu();

// Identifiers of the entries that are made for a list at run time: the n-th of each is the first one plus n, below the
// first one plus 100.
constexpr int add_recent_identifier = 25100;
constexpr int open_recent_identifier = 25200;
constexpr int new_video_layer_identifier = 25300;
constexpr int open_unsaved_identifier = 25400;

// The action name of an identifier of main_menu(); empty for a separator and for any other number.
std::string_view action_of_identifier(int identifier);

}  // namespace command
