#include "command/persistence_actions.h"

#include <filesystem>
#include <system_error>

#include "command/guard.h"
#include "command/messages.h"
#include "composition/invariants.h"
#include "composition/persistence.h"
#include "composition/recent_items.h"
#include "lib/from_string.h"
#include "lib/paths.h"
#include "platform/files.h"

namespace command {

void recent_notes::note_opened(const std::string& path) {
  std::string folder;
  if (!folder_(true, folder)) return;
  // The lists are a convenience: what was opened or saved stands without them.
  try {
    ksn::note_recent(folder, ksn::opened_items, {path});
  } catch (const std::exception&) {
  }
}

void recent_notes::write() {
  std::string folder;
  if (added_.empty() || !folder_(true, folder)) return;
  try {
    ksn::note_recent(folder, ksn::added_items, added_);
  } catch (const std::exception&) {
  }
  added_.clear();
}

void recent_notes::open(engine& engine, const std::string& path, bool remember) {
  ksn::state& composition = engine.composition();
  const bool whole = guarded(engine, path, [&] { ksn::load_composition(composition, path, true); });
  // What was opened before is gone, and with it what was missing there.
  if (whole) {
    engine.failed_inputs.clear();
  } else {
    engine.failed_inputs.push_back(path);
  }
  ksn::check_invariants(composition, "open_composition");
  const bool named = whole && remember;
  if (named) composition.file_name = path;
  if (composition.hooks.refresh_caption) composition.hooks.refresh_caption();
  if (!named) return;
  // Relative paths are those of the opened composition from now on.
  std::error_code ignored;
  std::filesystem::current_path(lib::folder_of(path), ignored);
  note_opened(path);
}

void recent_notes::save(engine& engine, const std::string& path) {
  ksn::state& composition = engine.composition();
  const bool whole = guarded(engine, path, [&] {
    platform::make_folders(lib::folder_of(path));
    ksn::save_composition(composition, path);
  });
  if (!whole) return;
  composition.file_name = path;
  if (composition.hooks.refresh_caption) composition.hooks.refresh_caption();
  note_opened(path);
}

bool recent_notes::item(engine& engine, const char* kind, const std::string& number, std::string& path) {
  write();
  std::size_t n = 0;
  std::string folder;
  ksn::recent_lists lists;
  if (folder_(false, folder)) lists = ksn::read_recent(folder);
  const std::vector<ksn::recent_item>& items = lists[kind];
  if (!lib::parse_value(number, n) || n < 1 || n > items.size()) {
    engine.report(about(engine.current_option(), "No such item"));
    return false;
  }
  path = items[n - 1].path;
  return true;
}

void recent_notes::register_actions(engine& engine) {
  ksn::state& composition = engine.composition();
  composition.hooks.file_among_unsaved = [this, &composition] {
    std::string folder;
    if (composition.doc.track_count() > 0 && folder_(true, folder)) ksn::file_unsaved(folder, composition);
  };
  engine.add_source = [this, &composition, add = engine.add_source](const source_request& request) {
    const int before = composition.doc.track_count();
    add(request);
    if (composition.doc.track_count() > before) added_.push_back(request.path);
  };

  const auto with_path = [&engine](const char* name, std::function<void(const std::string& path)> run) {
    engine.value_action_table[name].execute = [run = std::move(run)](const std::string& value) {
      if (lib::file_name(value).empty()) return false;  // "" and "folder/" name no file
      run(lib::full_path(value));
      return true;
    };
  };
  const auto listed = [&engine](const char* name, std::function<void(const std::string& number)> run) {
    engine.action_table[name].execute = [run] { run("1"); };
    engine.value_action_table[name].execute = [run = std::move(run)](const std::string& number) {
      run(number);
      return true;
    };
  };

  with_path("open_composition", [this, &engine](const std::string& path) { open(engine, path, true); });
  with_path("save_composition_as", [this, &engine](const std::string& path) {
    save(engine, lib::lower_extension(path).empty() ? path + ".ksncomp" : path);
  });
  engine.action_table["save_composition"].execute = [this, &engine, &composition] {
    if (composition.file_name.empty()) {
      engine.report(about(engine.current_option(), "The composition has no name yet"));
    } else {
      save(engine, composition.file_name);
    }
  };
  listed("open_recent", [this, &engine](const std::string& number) {
    std::string path;
    if (item(engine, ksn::opened_items, number, path)) open(engine, path, true);
  });
  listed("open_unsaved", [this, &engine](const std::string& number) {
    std::string path;
    if (item(engine, ksn::unsaved_items, number, path)) open(engine, path, false);
  });
  listed("add_recent", [this, &engine](const std::string& number) {
    std::string path;
    if (!item(engine, ksn::added_items, number, path)) return;
    source_request request;
    request.path = path;
    engine.open_source(request);
  });
}

}  // namespace command
