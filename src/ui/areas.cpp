#include <memory>

#include "ui/area.h"
#include "ui/lists/lists.h"
#include "ui/panel/panel.h"
#include "ui/panel/picture_text.h"
#include "ui/preview/preview.h"
#include "ui/start/start.h"
#include "ui/strips/strips.h"
#include "ui/timeline/timeline.h"

namespace ui {
namespace {

using layout = ksn::window_layout;

bool always(const layout&) {
  return true;
}
bool with_timeline(const layout& window) {
  return window.timeline_shown();
}
bool with_rows(const layout& window) {
  return window.rows > 0;
}

}  // namespace

std::string tip_text(const workbench& bench, std::string_view key, const std::string& action) {
  const std::string keys = bench.keys.key_text_of_action(action);
  return bench.text(key) + (keys.empty() ? "" : " (" + keys + ")");
}

std::vector<area> make_areas(workbench& bench) {
  const ksn::state& composition = bench.composition;
  const auto empty = [&composition](const layout&) { return composition.doc.track_count() == 0; };
  const auto floating = [&composition](const layout& window) {
    return !window.timeline_shown() && (composition.settings.spb_enabled || composition.workspace.full_screen);
  };
  const auto key_list = make_key_list(bench);
  const auto error_list = make_error_list(bench);
  const auto panel = make_property_panel(bench);
  const auto open = [](const std::shared_ptr<list_panel>& list) {
    return [list](const layout&) { return list->is_open(); };
  };
  const auto add = [&bench](const char* name, const char* help, const char* keys,
                            const std::shared_ptr<list_panel>& list) {
    bench.engine.add({.group = command::action_group::window,
                      .name = name,
                      .help = help,
                      .keys = keys,
                      .menu = {"mi_view", 90},
                      .execute = [list] { list->open(); }});
  };
  add("show_keys", "show every key with what it runs, and what the mouse does", "Shift+/ F1", key_list);
  add("show_errors", "show the last error lines with their times", "", error_list);
  const auto marks = std::make_shared<mark_table>();
  return {
      {make_preview(bench), area_origin::preview, always},
      {make_start(bench), area_origin::preview, empty},
      {make_picture_text(bench), area_origin::preview, always},
      {make_messages(bench, error_list), area_origin::client, always},
      {make_save_list(bench), area_origin::client, [&bench](const layout&) { return bench.saves != nullptr; }},
      {make_splitter(bench), area_origin::split, always},
      {make_options(bench), area_origin::split, with_timeline},
      {make_controls(bench), area_origin::split, with_timeline},
      {make_timeline(bench, marks), area_origin::split, with_timeline},
      {make_tracks(bench, marks), area_origin::split, with_rows},
      {make_floating_controls(bench), area_origin::split, floating},
      // The property panel lies over everything but the lists.
      {panel, area_origin::client, [panel](const layout&) { return panel->is_shown(); }},
      {key_list, area_origin::client, open(key_list)},
      {error_list, area_origin::client, open(error_list)},
  };
}

}  // namespace ui
