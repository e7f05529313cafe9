#include "app/shell_actions.h"

#include <ctime>
#include <string>
#include <utility>

#include "command/messages.h"
#include "platform/files.h"
#include "platform/folders.h"
#include "platform/shell.h"

namespace app {
namespace {

bool one_layer(command::engine& engine) {
  return engine.composition().doc.selection.size() == 1;
}

// "/tmp/kestrin_20261122_051500.jpg", a name that is free.
std::string temporary_file(const std::string& extension) {
  std::string folder;
  if (!platform::get_folder(platform::folder_kind::temporary, true, folder)) return {};
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char stamp[32];
  std::strftime(stamp, sizeof stamp, "_%Y%m%d_%H%M%S", &local);
  const std::string name = folder + "/kestrin" + stamp;
  std::string path = name + '.' + extension;
  for (int i = 2; platform::file_exists(path); ++i) path = name + '_' + std::to_string(i) + '.' + extension;
  return path;
}

void mail(command::engine& engine, shell_watch& watch, const std::string& save, const std::string& extension) {
  const std::string path = temporary_file(extension);
  if (path.empty()) return engine.report("No temporary folder for the picture to mail");
  engine.run_option("--" + save + "=" + path);
  std::string error;
  // A save that failed has told so.
  if (!platform::file_exists(path)) return;
  int process = 0;
  if (!platform::mail(path, error, &process)) return engine.report(command::about(path, error));
  watch.add(process, path, "xdg-email found no program that mails it");
}

// The file that the one selected layer shows, a movie as a whole; empty, and told, where it has none.
std::string file_of_layer(command::engine& engine, double time) {
  const ksn::document& document = engine.composition().doc;
  const ksn::track_info& track = document.track_at(document.selected_index());
  std::string path;
  if (track.source.is_clip() || track.source.type == ksn::source_type::wave) {
    path = track.source.path;
  } else {
    const double position = track.source_position(time);
    path = track.source.frame_path(position < 0.0 ? 0 : static_cast<int>(position));
  }
  if (path.empty()) engine.report(command::about(track.name, "The layer has no file"));
  return path;
}

void launch(command::engine& engine) {
  std::string error;
  if (!platform::launch_again(error)) engine.report("Another Kestrin can't be started: " + error);
}

}  // namespace

void register_shell_actions(command::engine& engine, std::function<double()> shown_time, shell_watch& watch) {
  using command::action_group;
  struct mail_row {
    const char* name;
    const char* help;
    const char* save;
    const char* extension;
    int position;
  };
  constexpr mail_row mails[] = {
      {"mail_screen_as_jpeg", "mail the preview area as a JPEG file", "save_screen_as", "jpg", 80},
      {"mail_screen_as_png", "mail the preview area as a PNG file", "save_screen_as", "png", 81},
      {"mail_mask_as_jpeg", "mail the composite as a JPEG file", "save_mask_as_image", "jpg", 90},
      {"mail_mask_as_png", "mail the composite as a PNG file", "save_mask_as_image", "png", 91},
      {"mail_frame_as_jpeg", "mail the selected layer's picture as a JPEG file", "save_frame_as", "jpg", 100},
      {"mail_frame_as_png", "mail the selected layer's picture as a PNG file", "save_frame_as", "png", 101},
  };
  for (const mail_row& row : mails) {
    engine.add({.group = action_group::mail,
                .name = row.name,
                .help = row.help,
                .menu = {"mi_file", row.position},
                .execute = [&engine, &watch, row] { mail(engine, watch, row.save, row.extension); }});
  }
  struct file_row {
    const char* name;
    const char* help;
    int position;  // in the menu; 0 for none
    bool (*run)(const std::string& path, std::string& error, int* process);
    const char* failure;
  };
  constexpr const char* no_manager = "The desktop has no file manager that shows it";
  constexpr file_row files[] = {
      {"locate_in_explorer", "show the selected layer's file in the file manager", 70, platform::reveal, no_manager},
      {"reveal_in_finder", "show the selected layer's file in the file manager", 0, platform::reveal, no_manager},
      {"open_containing_folder", "show the selected layer's file in the file manager", 0, platform::reveal, no_manager},
      {"open_with", "open the selected layer's file in its own program", 71, platform::open_address,
       "xdg-open found no program that opens it"},
  };
  for (const file_row& row : files) {
    engine.add({.group = action_group::desktop,
                .name = row.name,
                .help = row.help,
                .menu = {row.position > 0 ? "mi_layer" : "", row.position},
                .execute =
                    [&engine, &watch, shown_time, row] {
                      const std::string path = file_of_layer(engine, shown_time());
                      if (path.empty()) return;
                      std::string error;
                      int process = 0;
                      if (!row.run(path, error, &process)) return engine.report(command::about(path, error));
                      watch.add(process, path, row.failure);
                    },
                .enabled = [&engine] { return one_layer(engine); }});
  }
  engine.add({.group = action_group::file,
              .name = "launch_new_instance",
              .help = "start another Kestrin",
              .execute = [&engine] { launch(engine); }});
}

}  // namespace app
