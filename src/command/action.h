// An action in one row. The room that carries an action out registers its row with engine::add(); the menus,
// the shipped key definitions, the help, the command reference and what shows grey are all made from the rows.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace command {

// Headings of the help and the reference, in their order there.
enum class action_group {
  file,
  save,
  mail,
  clipboard,
  desktop,
  services,
  window,
  selection,
  transport,
  work_area,
  layer_time,
  view,
  placement,
  layer_state,
  new_layers,
  edit,
  information,
  menu_choice,  // what right-click menus offer beside all these
  internal,
  other,
};
std::string_view title_of(action_group group);

// Where an action stands in the main menu. Entries are ordered by their position, with a separator wherever the tens
// change.
struct menu_place {
  std::string_view menu = {};  // catalogue key of a menu or sub-menu of menu.cpp; empty: not in the main menu
  int position = 0;
};

// The question that an action asks when it is run in a window without its value.
struct file_question {
  std::string_view title = {};      // catalogue key; empty: the action's own text
  std::string_view file_name = {};  // that a save dialog begins with; empty: files are opened
  std::string_view filter = {};     // catalogue keys of its kinds of files, separated by blanks
  bool several = false;             // several files can be chosen, the action is run for each
};

// One entry of a sub-menu that is made for a list at that moment; choosing it runs the action with `value`.
struct list_item {
  std::string text;
  std::string value;
};

// An action may be run without a value, with one, or both. Absent functions: always enabled, no toggle, no list.
struct action {
  action_group group = action_group::other;
  std::string name = {};
  std::string help = {};        // without a value: one line that is understood alone
  std::string value_form = {};  // "PATH", "0|1"; empty when it takes no value
  std::string value_help = {};  // with a value
  std::string keys = {};        // as they come with the program, separated by blanks; menus show the first
  menu_place menu = {};
  // Why nothing happens yet, for an action that no room carries out: it shows grey and a command of it is one line.
  std::string unbuilt = {};

  std::function<void()> execute = {};
  // False: the text is tried as a field assignment. The action's `enabled` is not asked.
  std::function<bool(const std::string& value)> execute_value = {};
  std::function<bool()> enabled = {};
  std::function<bool()> checked = {};
  std::function<std::string()> title = {};  // absent: the catalogue text of the name
  // Without a value and with a window, files are asked for and execute_value runs.
  std::optional<file_question> ask = {};
  std::function<std::vector<list_item>()> list = {};
  std::string_view empty_list = {};  // catalogue key of the one grey entry of an empty list

  int order = 0;  // in which rows were added; set by engine::add()

  bool plain() const { return execute || ask || (!unbuilt.empty() && !help.empty()); }
  bool takes_value() const { return !value_form.empty(); }
};

}  // namespace command
