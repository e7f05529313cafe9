// Every field that a user can set is in the composition file or in the settings.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "command/field_values.h"
#include "command/language.h"
#include "composition/documents/persistence.h"
#include "support/temp_folder.h"

namespace {

ksn::track_info source() {
  ksn::track_info layer;
  layer.source.type = ksn::source_type::sequence;
  layer.source.path = "/nowhere/";
  ksn::name_list names;
  for (int i = 0; i < 100; ++i) names.add("a." + std::to_string(i) + ".tga");
  layer.source.names = ksn::frame_names(std::move(names));
  layer.source.frames = 100;
  layer.source.image_layers = {{0, -1, "main"}, {1, 0, "Z"}};
  return layer;
}

TEST(kept_fields, all_of_a_composition) {
  // Of the view of this run, and of no file.
  const std::set<std::string> of_no_file = {
      "exposure",       "soft_clip",   "temperature", "lift",        "gamma",        "gain",       "brightness",
      "contrast",       "hue",         "saturation",  "color_space", "lookup_table", "disable_cc", "vsync_mode",
      "vsync_throttle", "split_color", "split_scale"};
  // Of layers without a file, which have the size that they are given.
  const std::set<std::string> of_made_layers = {"dimensions", "size"};
  // Of the settings alone.
  const std::set<std::string> of_settings = {
      "global_volume",     "continue_playback_after_drag", "switch_views", "floating_transport", "vsync",
      "automatic_preload", "disable_caching_by_default",   "ext_device",   "ext_alpha",          "view_filter",
      "brush_pressure"};
  language written;
  for (const char* name : {"a", "b"}) {
    written.composition.doc.tracks.push_back(source());
    written.composition.doc.tracks.back().name = written.composition.doc.tracks.back().default_name = name;
  }
  written.composition.doc.selection = {0};
  written.composition.doc.lookup_table_map["warm.lut"].set_1d(std::vector<double>(3072, 0.5), true);
  strings names;
  strings settings;
  for (const command::global_field& field : written.engine.global_field_table) {
    if (!field.set || of_no_file.contains(field.name)) continue;
    const bool setting = of_settings.contains(field.name) || field.name.starts_with("default_");
    strings& kept = setting ? settings : names;
    kept.push_back("global:" + field.name);
    EXPECT_TRUE(support::change(written.engine, written.errors, kept.back(), field.shape)) << field.name;
  }
  // After the lengths of the timeline, which follow the layers.
  for (const command::layer_field& field : written.engine.layer_field_table) {
    if (!field.set || of_made_layers.contains(field.name)) continue;
    names.push_back("1:" + field.name);
    EXPECT_TRUE(support::change(written.engine, written.errors, names.back(), field.shape)) << field.name;
  }
  EXPECT_GT(names.size(), 90u);
  written.run({"--var:shot=a b <c>"});
  names.push_back("var:shot");

  const support::temp_folder folder;
  for (const char* file : {"a.ksncomp", "a.xml"}) {
    ksn::save_composition(written.composition, folder / file);
    language found;
    ksn::load_composition(found.composition, folder / file, false);
    for (const std::string& name : names) EXPECT_EQ(found.field(name), written.field(name)) << file << " " << name;
    ksn::save_settings_file(written.composition, folder / file);
    ksn::load_settings_file(found.composition, folder / file);
    for (const std::string& name : settings) EXPECT_EQ(found.field(name), written.field(name)) << file << " " << name;
  }
}

}  // namespace
