#include "ui/panel/lookup_actions.h"

#include <algorithm>
#include <set>

#include "command/messages.h"
#include "img/lookup/table.h"
#include "img/transfer.h"
#include "lib/paths.h"

namespace ui::panel {
namespace {

void import_table(workbench& bench, edits& changes, const std::string& path) {
  ksn::state& composition = bench.composition;
  const command::layer_field& field = *bench.engine.find_layer_field("lookup_table");
  changes.make(field.name.c_str(), [&] {
    for (const int index : composition.doc.selection) field.set(composition, composition.doc.track_at(index), path);
  });
}

// What the first selected layer has. Without a table that is how its source is encoded.
img::lookup_table table_of_selection(workbench& bench) {
  const ksn::document& doc = bench.composition.doc;
  const ksn::track_info& track = doc.track_at(*doc.selection.begin());
  img::const_image_ptr source;
  if (track.look.tf.lookup_table.empty() && track.source.is_decoded()) {
    const double last = std::max(track.source.frames - 1, 0);
    const double frame = std::clamp(track.source_position(bench.clock.shown_time()), 0.0, last);
    source = bench.pipeline.native_frame(track, static_cast<int>(frame));
  }
  const bool log = source && source->is_packed();
  const bool srgb = !source || source->depth[0] == 8;
  return img::sample_table(track.look.tf, log, srgb);
}

void delete_unused(ksn::state& composition) {
  std::set<std::string> used{composition.view.tf.lookup};
  for (const ksn::track_info& track : composition.doc.tracks) used.insert(track.look.tf.lookup);
  std::erase_if(composition.doc.lookup_table_map, [&](const auto& entry) { return !used.contains(entry.first); });
  composition.touch();
}

}  // namespace

void add_lookup_actions(workbench& bench, edits& changes) {
  const auto has_selection = [&bench] { return bench.composition.doc.has_selection(); };
  bench.engine.add({.group = command::action_group::layer_state,
                    .name = "import_lookup_table",
                    .help = "read a lookup table from a file that you choose and give it to the selected layers",
                    .value_form = "PATH",
                    .value_help = "read a lookup table from a file and give it to the selected layers",
                    .execute_value =
                        [&bench, &changes](const std::string& path) {
                          import_table(bench, changes, path);
                          return true;
                        },
                    .enabled = has_selection,
                    .ask = command::file_question{.title = "import_lookup_table_title",
                                                  .filter = "lookup_table_filter any_file_filter"}});
  bench.engine.add({.group = command::action_group::layer_state,
                    .name = "export_lookup_table",
                    .help = "save the selected layer's lookup table to a file that you choose",
                    .value_form = "PATH",
                    .value_help = "save the selected layer's lookup table, or without one how its source is encoded "
                                  "(.cube, .lut; a 3D one also .3dl, .cms)",
                    .execute_value =
                        [&bench, has_selection](const std::string& path) {
                          if (lib::file_name(path).empty()) return false;
                          if (!has_selection()) {
                            bench.engine.report(
                                command::about("--export_lookup_table=" + path, command::option_needs_layer));
                            return true;
                          }
                          img::save_lookup(lib::full_path(path), table_of_selection(bench));
                          return true;
                        },
                    .enabled = has_selection,
                    .ask = command::file_question{.title = "export_lookup_table_title",
                                                  .file_name = "unnamed.cube",
                                                  .filter = "lookup_table_saved_filter any_file_filter"}});
  bench.engine.add({.group = command::action_group::edit,
                    .name = "delete_unused_lookup_tables",
                    .help = "delete the composition's lookup tables that neither a layer nor the view has",
                    .execute = [&bench] { delete_unused(bench.composition); }});
}

}  // namespace ui::panel
