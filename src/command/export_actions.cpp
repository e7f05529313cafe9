// The composition for other programs, and the options that carry what no file holds.
#include "command/guard.h"
#include "command/messages.h"
#include "command/option_text.h"
#include "composition/export/export.h"
#include "composition/stored_text.h"
#include "io/exceptions.h"
#include "io/file.h"
#include "io/part_file.h"
#include "lib/paths.h"
#include "platform/files.h"

namespace command {

namespace {

struct export_kind {
  std::string_view extension;
  std::string (*text)(engine& engine);
};
constexpr export_kind kinds[] = {
    {"jsx", [](engine& engine) { return ksn::after_effects_script(engine.composition()); }},
    {"nk", [](engine& engine) { return ksn::nuke_script(engine.composition()); }},
    {"ksncmd", option_text},
};

void write_text(const std::string& path, std::string_view text) {
  // The user knows the file and not its part.
  try {
    io::part_file part(path);
    io::llfile file(part.path(), true);
    constexpr std::size_t most = 1 << 20;
    while (!text.empty()) {
      const std::string_view block = text.substr(0, most);
      file.write(block.data(), static_cast<int>(block.size()));
      text.remove_prefix(block.size());
    }
    file.flush_to_disk();
    part.commit();
  } catch (const io::open_error& failure) {
    throw io::open_error(path, failure.error_number());
  } catch (const io::write_error& failure) {
    throw io::write_error(path, failure.error_number());
  }
}

void export_as(engine& engine, const std::string& path) {
  const std::string extension = lib::lower_extension(path);
  for (const export_kind& kind : kinds) {
    if (kind.extension != extension) continue;
    reported(engine, path, [&] {
      platform::make_folders(lib::folder_of(path));
      write_text(path, kind.text(engine));
    });
    return;
  }
  engine.report(about(path, "Unrecognized file type: the name of an export ends in .jsx, .nk or .ksncmd"));
}

void save_look(engine& engine, std::string path) {
  if (lib::lower_extension(path) != "ksncmd") path += ".ksncmd";
  reported(engine, path, [&] {
    platform::make_folders(lib::folder_of(path));
    write_text(path, r3d_look_as_options(engine, *engine.composition().doc.selected_track()));
  });
}

void add_stored_layer(ksn::state& composition, const std::string& text) {
  ksn::track_info layer;
  ksn::take_stored_content(text, layer);
  const bool is_picture = layer.source.type != ksn::source_type::embedded_audio;
  layer.name = composition.catalogue_text("ti_clipboard_image_name");
  layer.default_name = layer.name;
  layer.look.visible = true;
  layer.sound.audible = !is_picture;
  if (is_picture) layer.look.alpha_type = ksn::alpha_type::normal;
  composition.enter_stack(std::move(layer), true);
}

}  // namespace

void register_export_actions(engine& engine) {
  ksn::state& composition = engine.composition();
  engine.add({.group = action_group::save,
              .name = "export_composition_as",
              .help = "export the composition to a file that you choose",
              .value_form = "PATH",
              .value_help = "export the composition to After Effects (.jsx), Nuke (.nk) or option text (.ksncmd)",
              .menu = {"mi_file", 40},
              .execute_value =
                  [&engine](const std::string& value) {
                    if (lib::file_name(value).empty()) return false;
                    export_as(engine, lib::full_path(value));
                    return true;
                  },
              .ask = file_question{"export_composition_as_title", "unnamed.nk", "export_filter any_file_filter"}});
  const auto has_look = [&composition] {
    const ksn::track_info* layer = composition.doc.selected_track();
    return layer && layer->source.stored_type() == ksn::source_type::r3d;
  };
  engine.add({.group = action_group::save,
              .name = "save_current_look",
              .help = "save the settings of the R3D decoder to a file that you choose",
              .value_form = "PATH",
              .value_help = "save the selected layer's settings of the R3D decoder as a command file (.ksncmd)",
              .execute_value =
                  [&engine, has_look](const std::string& value) {
                    if (lib::file_name(value).empty()) return false;
                    if (has_look()) {
                      save_look(engine, lib::full_path(value));
                    } else {
                      engine.report(about("--save_current_look=" + value, "The selected layer is no R3D clip"));
                    }
                    return true;
                  },
              .enabled = has_look,
              .ask = file_question{"save_current_look_title", "unnamed.ksncmd", "look_filter any_file_filter"}});
  engine.add({.group = action_group::new_layers,
              .name = "new_stored_layer",
              .value_form = "DATA",
              .value_help = "add a layer of the picture or sound that option text holds",
              .execute_value = [&composition](const std::string& value) {
                add_stored_layer(composition, value);
                return true;
              }});
  engine.add({.group = action_group::layer_state,
              .name = "layer_content",
              .value_form = "DATA",
              .value_help = "give the selected layer the canvases that option text holds",
              .execute_value = [&engine, &composition](const std::string& value) {
                ksn::track_info* layer = composition.doc.selected_track();
                if (!layer) {
                  engine.report(about("--layer_content", option_needs_layer));
                  return true;
                }
                ksn::take_stored_content(value, *layer);
                composition.hooks.forget_layer(layer->id);
                return true;
              }});
  engine.add({.group = action_group::edit,
              .name = "lookup_table_data",
              .value_form = "DATA,NAME",
              .value_help = "give the composition a lookup table that option text holds",
              .execute_value = [&composition](const std::string& value) {
                const std::size_t comma = value.find(',');
                if (comma == value.npos || comma + 1 == value.size()) return false;
                composition.doc.lookup_table_map[value.substr(comma + 1)] =
                    ksn::table_of(std::string_view(value).substr(0, comma));
                return true;
              }});
}

}  // namespace command
