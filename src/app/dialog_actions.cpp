#include "app/dialog_actions.h"

#include <cstddef>
#include <optional>
#include <vector>

#include "app/line_copy.h"
#include "app/open_choices.h"
#include "app/save_choices.h"
#include "lib/paths.h"
#include "lib/printable.h"

namespace app {
namespace {

constexpr std::size_t most_lines = 20;  // of one message box

// A menu text without the dots that promise the dialog.
std::string title_of(const dialog_parts& parts, const command::action& row) {
  std::string title = parts.text(row.ask->title.empty() ? row.name : row.ask->title);
  if (title.ends_with("...")) title.resize(title.size() - 3);
  return title;
}

// Empty where nothing is kept.
std::string choices_file(const dialog_parts& parts) {
  return parts.choices_file ? parts.choices_file() : std::string();
}

// Each dialog begins where the last one of its action ended.
void ask_and_run(const dialog_parts& parts, platform::desktop& desktop, const command::action& row,
                 save_choices& choices) {
  const std::string folder = choices.folder_of(row.name);
  platform::file_dialog dialog;
  dialog.title = title_of(parts, row);
  dialog.folder = folder.empty() ? lib::folder_of(lib::full_path("x")) : folder;
  dialog.save = !row.ask->file_name.empty();
  dialog.file_name = row.ask->file_name;
  dialog.several = row.ask->several;
  for (const std::string& kind : command::tokenise(row.ask->filter)) {
    dialog.filter += (dialog.filter.empty() ? "" : ";;") + parts.text(kind);
  }
  const bool is_walk = row.ask->filter.find("movie_filter") != std::string_view::npos;
  platform::save_form form{
      [&](const std::string& path) { return choices.of_path(path, is_walk, parts.text); },
      [&](const std::string& path) { return save_description(parts.engine.composition(), row.name, path); }};
  const bool has_options = dialog.save && row.ask->filter.find("picture_filter") != std::string_view::npos;
  if (has_options) dialog.form = &form;
  platform::open_form list;
  if (!dialog.save) {
    list = make_open_form(parts.text, choices.folders(), parts.previews);
    dialog.list = &list;
  }
  const std::vector<std::string> paths = desktop.ask_files(dialog);
  if (paths.empty()) return;
  choices.remember_folder(row.name, lib::folder_of(paths.front()));
  const std::string options = has_options ? choices.remember(paths.front(), form.chosen) : std::string();
  if (const std::string file = choices_file(parts); !file.empty()) store_choices(choices, file);
  run_and_tell(parts.engine, desktop, [&] {
    // Without any, the options of saves before are forgotten.
    if (has_options) parts.engine.run_option("--save_options=" + options);
    for (const std::string& path : paths) parts.engine.run_option("--" + row.name + "=" + path);
  });
  if (parts.done) parts.done();
}

}  // namespace

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

void ask_with_dialogs(const dialog_parts& parts) {
  parts.engine.ask_for_value = [parts, choices = std::optional<save_choices>()](const command::action& row) mutable {
    platform::desktop* desktop = parts.desktop();
    if (!desktop) return false;
    if (!choices) {
      choices.emplace();
      if (const std::string file = choices_file(parts); !file.empty()) load_choices(*choices, file);
    }
    if (!row.enabled || row.enabled()) ask_and_run(parts, *desktop, row, *choices);
    return true;
  };
}

}  // namespace app
