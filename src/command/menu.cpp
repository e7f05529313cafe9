#include "command/menu.h"

#include <algorithm>

namespace command {

namespace {

constexpr std::string_view menus[] = {"mi_file", "mi_edit", "mi_view", "mi_play", "mi_layer"};

// Where a sub-menu stands. One without entries is left out.
struct sub_menu {
  std::string_view title;
  menu_place place;
};
constexpr sub_menu sub_menus[] = {
    {"mi_layer_go", {"mi_layer", 10}},     {"mi_layer_align", {"mi_layer", 11}}, {"mi_layer_time", {"mi_layer", 12}},
    {"mi_layer_reload", {"mi_layer", 40}}, {"mi_layer_cache", {"mi_layer", 41}}, {"mi_layer_move", {"mi_layer", 80}},
};

}  // namespace

std::span<const std::string_view> main_menus() {
  return menus;
}

platform::menu_entry entry_of(const menu_source& source, std::string_view command) {
  platform::menu_entry entry;
  entry.command = command;
  const action* row = source.commands.find_action(command);
  entry.text = row && row->title ? row->title() : source.text(command);
  entry.key_text = source.keys.key_text_of_action(entry.command);
  entry.enabled = source.commands.action_enabled(command);
  entry.checkable = row && row->checked;
  entry.checked = entry.checkable && row->checked();
  if (!row || !row->list || !entry.enabled) return entry;
  for (const list_item& item : row->list()) {
    platform::menu_entry& listed = entry.entries.emplace_back();
    listed.command = entry.command + "=" + item.value;
    listed.text = item.text;
  }
  if (entry.entries.empty()) {
    platform::menu_entry& none = entry.entries.emplace_back();
    none.text = source.text(row->empty_list);
    none.enabled = false;
  }
  entry.command.clear();
  return entry;
}

std::vector<platform::menu_entry> main_menu(const menu_source& source, std::string_view menu) {
  struct placed {
    int position;
    platform::menu_entry entry;
  };
  std::vector<placed> found;
  for (const auto& [name, row] : source.commands.action_table) {
    if (row.menu.menu == menu) found.push_back({row.menu.position, entry_of(source, name)});
  }
  for (const sub_menu& sub : sub_menus) {
    if (sub.place.menu != menu) continue;
    platform::menu_entry entry;
    entry.text = source.text(sub.title);
    entry.entries = main_menu(source, sub.title);
    if (!entry.entries.empty()) found.push_back({sub.place.position, std::move(entry)});
  }
  std::stable_sort(found.begin(), found.end(),
                   [](const placed& a, const placed& b) { return a.position < b.position; });
  std::vector<platform::menu_entry> entries;
  for (std::size_t i = 0; i < found.size(); ++i) {
    if (i > 0 && found[i].position / 10 != found[i - 1].position / 10) entries.emplace_back();
    entries.push_back(std::move(found[i].entry));
  }
  return entries;
}

}  // namespace command
