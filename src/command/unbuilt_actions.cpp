// The actions that no room carries out yet. They show grey, and a command of one is the line "Not available". The room
// that builds one registers its row and takes the line out here.
#include "command/engine.h"

namespace command {

namespace {

struct unbuilt_row {
  action_group group;
  const char* name;
  const char* help;
  const char* menu;
  int position;  // in the menu
  const char* why;
  const char* value_form = "";
  const char* value_help = "";
};

constexpr const char* no_input = "video inputs are not built yet";

using group = action_group;

constexpr unbuilt_row rows[] = {
    {group::new_layers, "new_video_layer", "add a layer that shows the first video input", "mi_edit", 94, no_input,
     "DEVICE", "add a layer that shows the video input of that name"},
};

}  // namespace

void register_unbuilt_actions(engine& engine) {
  for (const unbuilt_row& row : rows) {
    if (engine.find_action(row.name)) continue;
    engine.add({.group = row.group,
                .name = row.name,
                .help = row.help,
                .value_form = row.value_form,
                .value_help = row.value_help,
                .menu = {row.menu, row.position},
                .unbuilt = row.why});
  }
}

}  // namespace command
