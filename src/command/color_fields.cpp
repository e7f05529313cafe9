// The colour correction of a layer, and under the scope `global` of the view.
#include <array>
#include <cmath>

#include "command/field_builder.h"
#include "command/guard.h"
#include "img/lookup/table.h"
#include "lib/paths.h"
#include "platform/files.h"
#include "platform/folders.h"

namespace command {

namespace {

using ksn::state;

constexpr double most_stops = 100.0;
constexpr double most_units = 1000000.0;

// How the user's number becomes the stored integer: times `scale`, within the bounds in the user's unit.
struct unit {
  double scale;
  double least;
  double most;
};

bool to_stored(const unit& unit, double value, int& stored) {
  if (!(value >= unit.least && value <= unit.most)) return false;
  stored = static_cast<int>(std::rint(value * unit.scale));
  return true;
}

// One number for all three channels, or red, green, blue; the record holds blue, green, red.
bool read_triple(std::string_view text, const unit& unit, std::array<int, 3>& stored) {
  std::array<double, 3> values{};
  if (!read_doubles(text, values)) {
    if (!read_double(text, values[0])) return false;
    values = {values[0], values[0], values[0]};
  }
  std::array<int, 3> found{};
  for (std::size_t i = 0; i < 3; ++i) {
    if (!to_stored(unit, values[i], found[2 - i])) return false;
  }
  stored = found;
  return true;
}

std::string write_triple(const unit& unit, const std::array<int, 3>& stored) {
  const double red = stored[2] / unit.scale;
  if (stored[0] == stored[1] && stored[1] == stored[2]) return write_double(red);
  return write_doubles(std::array{red, stored[1] / unit.scale, stored[0] / unit.scale});
}

bool read_single(std::string_view text, const unit& unit, int& stored) {
  double value = 0;
  return read_double(text, value) && to_stored(unit, value, stored);
}

// The table of that name in the composition, or else a file, or else a file in the LUTs folder; files are entered
// under their file name. True as well when the file was found and can't be read, which has its own line.
bool set_lookup(engine& engine, state& composition, img::correction& tf, const std::string& value) {
  if (value == "none") {
    tf.lookup.clear();
    tf.lookup_table = {};
    return true;
  }
  std::string name = value;
  if (!composition.doc.lookup_table_map.contains(name)) {
    std::string path = lib::full_path(value);
    if (value.empty()) return false;
    if (!platform::file_exists(path)) {
      std::string folder;
      if (!platform::get_folder(platform::folder_kind::lookup_tables, false, folder)) return false;
      path = lib::add_separator(folder) + value;
      if (!platform::file_exists(path)) return false;
    }
    name = lib::file_name(path);
    img::lookup_table table;
    if (!guarded(engine, path, [&] { img::load_lookup(path, table); })) return true;
    composition.doc.lookup_table_map[name] = table;
  }
  tf.lookup = name;
  tf.lookup_table = composition.doc.lookup_table_map[name];
  return true;
}

// Calls add(name, form, help, get, set) for each field, with get(correction) and set(composition, correction, text).
template <class Add>
void for_each_color_field(engine& engine, Add add) {
  const auto triple = [&](const char* name, const char* help, unit unit, std::array<int, 3> img::correction::*member) {
    add(
        name, "X|R,G,B", help, [=](const img::correction& tf) { return write_triple(unit, tf.*member); },
        [=](state&, img::correction& tf, const std::string& value) { return read_triple(value, unit, tf.*member); });
  };
  const auto single = [&](const char* name, const char* help, unit unit, int img::correction::*member) {
    add(
        name, "X", help, [=](const img::correction& tf) { return write_double(tf.*member / unit.scale); },
        [=](state&, img::correction& tf, const std::string& value) { return read_single(value, unit, tf.*member); });
  };
  using img::correction;
  triple("exposure", "stops", {100, -most_stops, most_stops}, &correction::exposure);
  single("soft_clip", "stops over which highlights are compressed, 0 for none", {100, 0, most_stops},
         &correction::soft_clip);
  single("temperature", "kelvin; 6600 is neutral", {1, 1, most_units}, &correction::temperature);
  triple("lift", "added to the shadows, as a fraction", {1000, -most_units / 1000, most_units / 1000},
         &correction::lift);
  triple("gamma", "exponent of the midtones; above 1 darkens", {100, 0.01, most_stops}, &correction::gamma);
  triple("gain", "factor of the highlights", {100, -most_units / 1000, most_units / 1000}, &correction::gain);
  triple("brightness", "fraction", {1000, -most_units / 1000, most_units / 1000}, &correction::brightness);
  triple("contrast", "stops around middle grey", {100, -most_stops, most_stops}, &correction::contrast);
  triple("hue", "degrees", {1, -most_units, most_units}, &correction::hue);
  triple("saturation", "percent", {1, 0, most_units}, &correction::saturation);
  add(
      "color_space", word_form<ksn::color_space_type>(), "how the source is encoded",
      [](const correction& tf) {
        return std::string(ksn::word_of(static_cast<ksn::color_space_type>(tf.color_space)));
      },
      [](state&, correction& tf, const std::string& value) {
        return ksn::value_of(ksn::words_of<ksn::color_space_type>(), value, tf.color_space);
      });
  add(
      "lookup_table", "none|FILE|NAME", "lookup table: a .lut, .3dl, .cms or .cube file, or one that was read before",
      [](const correction& tf) { return tf.lookup.empty() ? "none" : tf.lookup; },
      [&engine](state& composition, correction& tf, const std::string& value) {
        return set_lookup(engine, composition, tf, value);
      });
  add(
      "disable_cc", "0|1", "ignore the correction, keep colour space and lookup table",
      [](const correction& tf) { return write_bool(tf.disable_cc); },
      [](state&, correction& tf, const std::string& value) { return read_bool(value, tf.disable_cc); });
}

}  // namespace

void register_color_fields(engine& engine) {
  for_each_color_field(engine, [&](const char* name, std::string form, const char* help, auto get, auto set) {
    add_layer(
        engine, name, std::move(form), help,
        [get](const state&, const ksn::track_info& layer) -> std::string { return get(layer.look.tf); },
        [set](state& composition, ksn::track_info& layer, const std::string& value) {
          return set(composition, layer.look.tf, value);
        });
  });
  for_each_color_field(engine, [&](const char* name, std::string form, const char* help, auto get, auto set) {
    add_global(
        engine, name, std::move(form), std::string("of the view: ") + help,
        [get](const state& composition) -> std::string { return get(composition.view.tf); },
        [set](state& composition, const std::string& value) { return set(composition, composition.view.tf, value); });
  });
}

}  // namespace command
