// The colour correction of a layer, and under the scope `global` of the view.
#include <algorithm>
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

// Stored numbers are integers: the user's number times `scale`.
int stored(double value, double scale) {
  return static_cast<int>(std::rint(value * scale));
}

// Reads a table from a file and enters it under the file's name. False when it can't be read, which has its own line.
bool read_table(engine& engine, state& composition, const std::string& path) {
  img::lookup_table table;
  if (!reported(engine, path, [&] { img::load_lookup(path, table); })) return false;
  composition.doc.lookup_table_map[lib::file_name(path)] = table;
  return true;
}

// A value that is a path, or names a file in the working folder, is read from the file, always fresh. Only then it is a
// table that the composition has, and then a file of the LUTs folders.
bool set_lookup(engine& engine, state& composition, img::correction& tf, const std::string& value) {
  if (value.empty()) return false;
  if (value == "none") {
    tf.lookup.clear();
    tf.lookup_table = {};
    return true;
  }
  const std::string path = lib::full_path(value);
  // A link to nothing is read too, so that the line says what is wrong.
  if (platform::is_link(path) || platform::file_exists(path)) {
    if (!read_table(engine, composition, path)) return true;
  } else if (!composition.doc.lookup_table_map.contains(value)) {
    const std::vector<std::string> folders = platform::lookup_folders();
    const auto found = std::find_if(folders.begin(), folders.end(), [&](const std::string& folder) {
      return platform::file_exists(lib::add_separator(folder) + value);
    });
    if (found == folders.end()) return false;
    if (!read_table(engine, composition, lib::add_separator(*found) + value)) return true;
  }
  tf.lookup = lib::file_name(value);
  tf.lookup_table = composition.doc.lookup_table_map[tf.lookup];
  return true;
}

// Calls add(name, help, shape, get, set) for each field, with get(correction, value) and set(composition, correction,
// value).
template <class Add>
void for_each_color_field(engine& engine, Add add) {
  using img::correction;
  const auto triple = [&](const char* name, const char* help, double scale, double least, double most, int decimals,
                          std::array<int, 3> correction::*member) {
    value_shape shape = number(least, most, decimals);
    shape.count = 3;
    shape.one_for_all = true;
    shape.form = "X|R,G,B";
    add(
        name, help, shape,
        [=](const correction& tf, field_value& value) {
          for (std::size_t i = 0; i < 3; ++i) value.numbers[i] = (tf.*member)[2 - i] / scale;
        },
        [=](state&, correction& tf, const field_value& value) {
          for (std::size_t i = 0; i < 3; ++i) (tf.*member)[2 - i] = stored(value.numbers[i], scale);
          return true;
        });
  };
  const auto single = [&](const char* name, const char* help, double scale, double least, double most, int decimals,
                          int correction::*member) {
    add(
        name, help, number(least, most, decimals),
        [=](const correction& tf, field_value& value) { value.numbers[0] = tf.*member / scale; },
        [=](state&, correction& tf, const field_value& value) {
          tf.*member = stored(value.numbers[0], scale);
          return true;
        });
  };
  const auto flag = [&](const char* name, const char* help, bool correction::*member) {
    add(
        name, help, boolean(), [=](const correction& tf, field_value& value) { put(value, tf.*member); },
        [=](state&, correction& tf, const field_value& value) {
          take(value, tf.*member);
          return true;
        });
  };
  constexpr double milli = most_units / 1000;
  triple("exposure", "exposure in stops", 100, -most_stops, most_stops, 2, &correction::exposure);
  single("soft_clip", "stops over which highlights are compressed, 0 for none", 100, 0, most_stops, 2,
         &correction::soft_clip);
  single("temperature", "colour temperature in kelvin; 6600 is neutral", 1, 1, most_units, 0, &correction::temperature);
  triple("lift", "added to the shadows, as a fraction of white", 1000, -milli, milli, 3, &correction::lift);
  triple("gamma", "exponent of the midtones; above 1 darkens", 100, 0.01, most_stops, 3, &correction::gamma);
  triple("gain", "factor of the highlights", 100, -milli, milli, 2, &correction::gain);
  triple("brightness", "added to all levels, as a fraction of white", 1000, -milli, milli, 1, &correction::brightness);
  triple("contrast", "contrast in stops around middle grey", 100, -most_stops, most_stops, 2, &correction::contrast);
  triple("hue", "rotation of the hue in degrees", 1, -most_units, most_units, 0, &correction::hue);
  triple("saturation", "saturation in percent", 1, 0, most_units, 0, &correction::saturation);
  add(
      "color_space", "how the source is encoded", words<ksn::color_space_type>(),
      [](const correction& tf, field_value& value) { put(value, tf.color_space); },
      [](state&, correction& tf, const field_value& value) {
        take(value, tf.color_space);
        return true;
      });
  add(
      "lookup_table",
      "lookup table: a .cube, .3dl, .cms, .lut, .csp, .spi1d, .spi3d, .cc, .ccc or .cdl file, which is read again, or "
      "the name of one before",
      text("none|FILE|NAME"),
      [](const correction& tf, field_value& value) { value.text = tf.lookup.empty() ? "none" : tf.lookup; },
      [&engine](state& composition, correction& tf, const field_value& value) {
        return set_lookup(engine, composition, tf, value.text);
      });
  flag("disable_cc", "whether the colour correction is off; colour space and lookup table stay",
       &correction::disable_cc);
}

}  // namespace

void register_color_fields(engine& engine) {
  for_each_color_field(engine, [&](const char* name, const char* help, value_shape shape, auto get, auto set) {
    add_made<ksn::track_info>(
        engine, name, help, shape,
        [get](const state&, const ksn::track_info& layer, field_value& value) { get(layer.look.tf, value); },
        [set](state& composition, ksn::track_info& layer, const field_value& value) {
          return set(composition, layer.look.tf, value);
        });
  });
  for_each_color_field(engine, [&](const char* name, const char* help, value_shape shape, auto get, auto set) {
    add_made<state>(
        engine, name, std::string("of the view: ") + help, shape,
        [get](const state&, const state& composition, field_value& value) { get(composition.view.tf, value); },
        [set](state& composition, state&, const field_value& value) {
          return set(composition, composition.view.tf, value);
        });
  });
}

}  // namespace command
