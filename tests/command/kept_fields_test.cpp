// Every field that a user can set is in the composition file.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "command/language.h"
#include "composition/persistence.h"
#include "support/temp_folder.h"

namespace {

// Texts that fit a form such as "none|X,Y,W,H", the plainest first.
strings values_of(const std::string& form) {
  if (form == "TEXT" || form == "NAME") return {"Z", "main", "other \xC3\xA9 <&>"};
  strings found;
  for (std::size_t from = 0; from <= form.size();) {
    const std::size_t end = std::min(form.find('|', from), form.size());
    const std::string part = form.substr(from, end - from);
    from = end + 1;
    if (part == "LAYER") found.push_back("'b'");
    if (part == "NAME") found.push_back("warm.lut");
    if (part == "LAYER" || part == "NAME" || part == "FILE") continue;
    if (part.find_first_of("abcdefghijklmnopqrstuvwxyz0") != part.npos) {
      found.push_back(part);
      continue;
    }
    const auto places = std::count(part.begin(), part.end(), ',') + 1;
    for (const char* number : {"12", "1", "0", "0.5"}) {
      std::string value = number;
      for (int i = 1; i < places; ++i) value += i % 2 ? ",14" : std::string(",") + number;
      found.push_back(value);
    }
  }
  return found;
}

// Sets the field to something else than it is; false when nothing will do.
bool change(language& l, const std::string& name, const std::string& form) {
  const std::string before = l.field(name);
  for (const std::string& value : values_of(form)) {
    l.run({"--" + name + "=" + value});
    if (l.errors.empty() && l.field(name) != before) return true;
  }
  return false;
}

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
  // Of the view or the settings, and not of the composition.
  const std::set<std::string> not_kept = {"global_volume", "exposure",    "soft_clip",    "temperature", "lift",
                                          "gamma",         "gain",        "brightness",   "contrast",    "hue",
                                          "saturation",    "color_space", "lookup_table", "disable_cc"};
  language written;
  for (const char* name : {"a", "b"}) {
    written.composition.doc.tracks.push_back(source());
    written.composition.doc.tracks.back().name = written.composition.doc.tracks.back().default_name = name;
  }
  written.composition.doc.selection = {0};
  written.composition.doc.lookup_table_map["warm.lut"].set_1d(std::vector<double>(3072, 0.5), true);
  strings names;
  for (const command::global_field& field : written.engine.global_field_table) {
    if (!field.set || not_kept.contains(field.name)) continue;
    names.push_back("global:" + field.name);
    EXPECT_TRUE(change(written, names.back(), field.value_form)) << field.name;
  }
  // Behind the lengths of the timeline, which follow the layers.
  for (const command::layer_field& field : written.engine.layer_field_table) {
    if (!field.set) continue;
    names.push_back("1:" + field.name);
    EXPECT_TRUE(change(written, names.back(), field.value_form)) << field.name;
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
  }
}

}  // namespace
