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

constexpr const char* no_mail = "mail is not built yet";
constexpr const char* no_shell = "other programs are not started yet";
constexpr const char* no_input = "video inputs are not built yet";

using group = action_group;

constexpr unbuilt_row rows[] = {
    {group::file, "launch_new_instance", "start another Kestrin", "", 0, no_shell},
    {group::mail, "mail_screen_as_jpeg", "mail the preview area as a JPEG file", "mi_file", 80, no_mail},
    {group::mail, "mail_screen_as_png", "mail the preview area as a PNG file", "mi_file", 81, no_mail},
    {group::mail, "mail_mask_as_jpeg", "mail the composite as a JPEG file", "mi_file", 90, no_mail},
    {group::mail, "mail_mask_as_png", "mail the composite as a PNG file", "mi_file", 91, no_mail},
    {group::mail, "mail_frame_as_jpeg", "mail the selected layer's picture as a JPEG file", "mi_file", 100, no_mail},
    {group::mail, "mail_frame_as_png", "mail the selected layer's picture as a PNG file", "mi_file", 101, no_mail},
    {group::desktop, "locate_in_explorer", "show the selected layer's file in the file manager", "mi_layer", 70,
     no_shell},
    {group::desktop, "reveal_in_finder", "show the selected layer's file in the file manager", "", 0, no_shell},
    {group::desktop, "open_containing_folder", "show the selected layer's file in the file manager", "", 0, no_shell},
    {group::desktop, "open_with", "open the selected layer's file in its own program", "mi_layer", 71, no_shell},
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
