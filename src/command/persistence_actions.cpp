#include "command/persistence_actions.h"

#include <sys/stat.h>

#include <ctime>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "command/guard.h"
#include "command/messages.h"
#include "composition/documents/document_copy.h"
#include "composition/documents/persistence.h"
#include "composition/documents/recent_items.h"
#include "composition/invariants.h"
#include "io/document.h"
#include "lib/format.h"
#include "lib/from_string.h"
#include "lib/paths.h"
#include "platform/files.h"

namespace command {

namespace {

constexpr std::string_view composition_filter = "kestrin_composition_filter any_file_filter";
constexpr std::uintmax_t largest_peek = 64 << 20;  // bytes of a document that a menu reads

std::string time_text(const std::string& path) {
  struct stat entry {};
  struct tm local {};
  char text[40];
  if (stat(path.c_str(), &entry) != 0 || !localtime_r(&entry.st_mtime, &local)) return {};
  return {text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &local)};
}

// Name, first source, number of layers and time of a document that nobody gave a name. One that can't be read whole is
// told by what was read of it.
std::string unsaved_text(const ksn::state& composition, const std::string& path) {
  ksn::composition_view view;
  try {
    std::error_code missing;
    if (std::filesystem::file_size(path, missing) > largest_peek || missing) return path;
    const auto body = [&](auto& archive) { ksn::read_composition(archive, view); };
    io::read_document(path, body, body);
  } catch (const std::exception&) {
  }
  const std::string first = view.doc.tracks.empty() ? std::string() : view.doc.tracks.front().name;
  return lib::format(composition.catalogue_text("unsaved_item"), lib::file_name(path), first,
                     static_cast<int>(view.doc.tracks.size()), time_text(path));
}

// What processes left that are gone.
void look_for_left(const std::string& folder) {
  ksn::clear_dead_unsaved(folder);
  ksn::adopt_copies(folder);
}

}  // namespace

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
  const long long before = engine.lines_reported;
  const bool whole = reported(engine, path, [&] { ksn::load_composition(composition, path, true); });
  // The document before is gone, and with it what was missing there. A document of which a source can't be opened is
  // one that is missing itself.
  if (whole) engine.failed_inputs.clear();
  if (engine.lines_reported != before) engine.failed_inputs.push_back(path);
  ksn::check_invariants(composition, "open_composition");
  const bool named = whole && remember;
  if (named) composition.file_name = path;
  composition.hooks.refresh_caption();
  if (!named) return;
  // Relative paths are those of the opened composition from now on.
  std::error_code ignored;
  std::filesystem::current_path(lib::folder_of(path), ignored);
  note_opened(path);
}

void recent_notes::save(engine& engine, const std::string& path) {
  ksn::state& composition = engine.composition();
  const bool whole = reported(engine, path, [&] {
    platform::make_folders(lib::folder_of(path));
    ksn::save_composition(composition, path);
  });
  if (!whole) return;
  composition.file_name = path;
  composition.hooks.refresh_caption();
  note_opened(path);
}

bool recent_notes::item(engine& engine, const char* kind, const std::string& number, std::string& path) {
  write();
  std::size_t n = 0;
  std::string folder;
  ksn::recent_lists lists;
  if (folder_(false, folder)) {
    if (kind == std::string_view(ksn::unsaved_items)) look_for_left(folder);
    lists = ksn::read_recent(folder);
  }
  const std::vector<ksn::recent_item>& items = lists[kind];
  if (!lib::parse_value(number, n) || n < 1 || n > items.size()) {
    engine.report(about(engine.current_option(), "No such item"));
    return false;
  }
  path = items[n - 1].path;
  return true;
}

std::string recent_notes::text_of(const ksn::state& composition, const std::string& path) {
  // A document that was filed is never written again.
  std::string& text = unsaved_texts_[path];
  if (text.empty()) text = unsaved_text(composition, path);
  return text;
}

std::vector<list_item> recent_notes::items(const ksn::state& composition, const char* kind) {
  std::string folder;
  std::vector<list_item> entries;
  if (!folder_(false, folder)) return entries;
  if (kind == std::string_view(ksn::unsaved_items)) look_for_left(folder);
  ksn::recent_lists lists = ksn::read_recent(folder);
  for (const ksn::recent_item& item : lists[kind]) {
    const std::string number = std::to_string(entries.size() + 1);
    if (kind != ksn::unsaved_items) {
      entries.push_back({item.path, number});
      continue;
    }
    entries.push_back({text_of(composition, item.path), number});
  }
  return entries;
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

  const auto with_path = [](std::function<void(const std::string& path)> run) {
    return [run = std::move(run)](const std::string& value) {
      // "", "folder/", "." and ".." name no file.
      const std::string name = lib::file_name(value);
      if (name.empty() || name == "." || name == "..") return false;
      run(lib::full_path(value));
      return true;
    };
  };
  engine.add({.group = action_group::file,
              .name = "open_composition",
              .help = "open a composition that you choose",
              .value_form = "PATH",
              .value_help = "open a composition",
              .keys = "Ctrl+O",
              .menu = {"mi_file", 30},
              .execute_value = with_path([this, &engine](const std::string& path) { open(engine, path, true); }),
              .ask = file_question{"open_composition_title", "", composition_filter}});
  engine.add({.group = action_group::save,
              .name = "save_composition",
              .help = "save the composition under its name, or under one that you choose",
              .keys = "Ctrl+S",
              .menu = {"mi_file", 33},
              .execute = [this, &engine, &composition] {
                if (!composition.file_name.empty()) {
                  save(engine, composition.file_name);
                } else if (const action& row = *engine.find_action("save_composition_as");
                           !engine.ask_for_value || !engine.ask_for_value(row)) {
                  engine.report(about(engine.current_option(), "The composition has no name yet"));
                }
              }});
  engine.add({.group = action_group::save,
              .name = "save_composition_as",
              .help = "save the composition under a name that you choose",
              .value_form = "PATH",
              .value_help = "save the composition",
              .keys = "Ctrl+Shift+S",
              .menu = {"mi_file", 34},
              .execute_value = with_path([this, &engine](const std::string& path) {
                save(engine, lib::lower_extension(path).empty() ? path + ".ksncomp" : path);
              }),
              .ask = file_question{"save_composition_as_title", "unnamed.ksncomp", composition_filter}});

  const auto listed = [&](action row, const char* kind, std::function<void(const std::string& path)> use) {
    const auto run = [this, &engine, kind, use = std::move(use)](const std::string& number) {
      std::string path;
      if (item(engine, kind, number, path)) use(path);
      return true;
    };
    row.group = action_group::file;
    row.execute = [run] { run("1"); };
    row.execute_value = run;
    row.list = [this, &composition, kind] { return items(composition, kind); };
    engine.add(std::move(row));
  };
  listed({.name = "open_recent",
          .help = "open the composition that was used last",
          .value_form = "N",
          .value_help = "open the N-th of the compositions used last",
          .menu = {"mi_file", 31},
          .empty_list = "no_recent_items"},
         ksn::opened_items, [this, &engine](const std::string& path) { open(engine, path, true); });
  listed({.name = "open_unsaved",
          .help = "open the composition that was replaced or closed last",
          .value_form = "N",
          .value_help = "open the N-th of the compositions replaced or closed last",
          .menu = {"mi_file", 32},
          .empty_list = "no_unsaved_items"},
         ksn::unsaved_items, [this, &engine](const std::string& path) { open(engine, path, false); });
  listed({.name = "add_recent",
          .help = "add the source that was added last as a layer",
          .value_form = "N",
          .value_help = "add the N-th of the sources added last as a layer",
          .menu = {"mi_file", 11},
          .empty_list = "no_recent_items"},
         ksn::added_items, [&engine](const std::string& path) {
           source_request request;
           request.path = path;
           engine.open_source(request);
         });
}

}  // namespace command
