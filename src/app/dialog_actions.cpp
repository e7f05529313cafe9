#include "app/dialog_actions.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <vector>

#include "app/line_copy.h"
#include "command/action_names.h"
#include "command/messages.h"
#include "lib/paths.h"
#include "lib/printable.h"

namespace app {
namespace {

constexpr std::size_t most_lines = 20;  // of one message box

enum class enabled_when { always, one_layer };

struct dialog_row {
  const char* action;
  const char* title;      // key of its title; null for the action's own text
  const char* file_name;  // that a save dialog begins with; null for a dialog that opens files
  const char* filter;     // as in platform::file_dialog, without names
  bool several = false;
  enabled_when enabled = enabled_when::always;
};

constexpr const char* any_file = "(*)";
constexpr const char* composition_files = "(*.ksncomp *.xml);;(*)";
constexpr const char* command_files = "(*.ksncmd);;(*)";
constexpr const char* export_files = "(*.nk *.jsx *.ksncmd);;(*)";
constexpr const char* picture_files = "(*.exr *.dpx *.tga *.png *.jpg *.tif *.tiff);;(*)";
constexpr const char* movie_or_picture_files =
    "(*.exr *.dpx *.tga *.png *.jpg *.tif *.tiff *.mov *.mp4 *.avi *.mkv);;(*)";

constexpr dialog_row rows[] = {
    {"add_layer", "add_layer_title", nullptr, any_file, true},
    {"open_composition", "open_composition_title", nullptr, composition_files},
    {"save_composition_as", nullptr, "unnamed.ksncomp", composition_files},
    {"export_composition_as", nullptr, "unnamed.nk", export_files},
    {"execute_cmdfile", nullptr, nullptr, command_files},
    {"save_screen_as", "save_screen_as_title", "screen.png", picture_files},
    {"save_frame_as", "save_frame_as_title", "frame.exr", picture_files},
    {"save_mask_as_image", "save_mask_as_image.title", "composite.png", picture_files},
    {"save_layer_as", nullptr, "layer.####.exr", movie_or_picture_files},
    {"save_mask_as_sequence", nullptr, "composite.####.exr", movie_or_picture_files},
    {"layer_replace_with", "layer_replace_with_title", nullptr, any_file, false, enabled_when::one_layer},
};

// A menu text without the dots that promise the dialog.
std::string title_of(const dialog_parts& parts, const dialog_row& row) {
  std::string title = parts.text(row.title ? row.title : row.action);
  if (title.ends_with("...")) title.resize(title.size() - 3);
  return title;
}

std::string value_form_of(const std::string& action) {
  for (const command::action_name& entry : command::action_names()) {
    if (entry.name == action && !entry.value_form.empty()) return std::string(entry.value_form);
  }
  return "PATH";
}

// Each dialog begins where the last one of its kind ended.
void ask_and_run(const dialog_parts& parts, const dialog_row& row, std::string& folder) {
  const std::string action = row.action;
  platform::desktop* desktop = parts.desktop();
  if (!desktop) {
    parts.engine.report(command::about("--" + action, command::not_available) + " without a value: --" + action + "=" +
                        value_form_of(action));
    return;
  }
  platform::file_dialog dialog;
  dialog.title = title_of(parts, row);
  dialog.folder = folder.empty() ? lib::folder_of(lib::full_path("x")) : folder;
  dialog.save = row.file_name != nullptr;
  if (dialog.save) dialog.file_name = row.file_name;
  dialog.several = row.several;
  dialog.filter = row.filter;
  const std::vector<std::string> paths = desktop->ask_files(dialog);
  if (paths.empty()) return;
  folder = lib::folder_of(paths.front());
  run_and_tell(parts.engine, *desktop, [&] {
    for (const std::string& path : paths) parts.engine.run_option("--" + action + "=" + path);
  });
  if (parts.done) parts.done();
}

}  // namespace

bool opens_dialog(std::string_view action) {
  if (action == "save_composition") return true;
  return std::any_of(std::begin(rows), std::end(rows), [&](const dialog_row& row) { return action == row.action; });
}

void run_and_tell(command::engine& engine, platform::desktop& desktop, const std::function<void()>& work) {
  if (engine.command_depth > 0) return work();
  std::vector<std::string> lines;
  {
    const line_copy errors(engine.write_error, [&](const std::string& line) { lines.push_back(lib::printable(line)); });
    const command::execution running(engine);
    work();
  }
  if (lines.empty()) return;
  std::string text;
  for (std::size_t i = 0; i < lines.size() && i < most_lines; ++i) text += (i == 0 ? "" : "\n") + lines[i];
  if (lines.size() > most_lines) text += "\n... (" + std::to_string(lines.size()) + ")";
  desktop.show_message(text, false);
}

void register_dialog_actions(const dialog_parts& parts) {
  command::engine& engine = parts.engine;
  for (const dialog_row& row : rows) {
    command::action& action = engine.action_table[row.action];
    action.execute = [parts, &row, folder = std::string()]() mutable { ask_and_run(parts, row, folder); };
    if (row.enabled == enabled_when::one_layer) {
      action.enabled = [parts] {
        const ksn::state& composition = parts.engine.composition();
        // Without a window the line about the value form is of more use than silence.
        return !parts.desktop() || composition.doc.selected_index() != composition.doc.track_count();
      };
    }
  }
  // A document without a name is saved under a new one.
  command::action& save = engine.action_table["save_composition"];
  save.execute = [parts, save_as_is = save.execute] {
    platform::desktop* desktop = parts.desktop();
    if (!desktop) {
      save_as_is();
    } else if (parts.engine.composition().file_name.empty()) {
      parts.engine.execute_action("save_composition_as");
    } else {
      run_and_tell(parts.engine, *desktop, save_as_is);
    }
  };
}

}  // namespace app
