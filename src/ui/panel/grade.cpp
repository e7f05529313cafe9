#include "ui/panel/grade.h"

#include <cmath>
#include <cstdio>

#include "ui/panel/picker.h"

namespace ui::panel {
namespace {

// Nearer to black or white than this, a channel says nothing about the other end.
constexpr double least_reach = 1e-4;
constexpr std::array<double, 3> luma_weights{0.2126, 0.7152, 0.0722};  // ITU-R BT.709

struct entry {
  const char* field;
  const char* key;
  enum class from { nothing, picture, clipboard } source;
  grade_goal goal = grade_goal::neutral;
};
using enum entry::from;

constexpr entry entries[] = {
    {"lift", "panel.reset_lift", nothing},
    {"lift", "panel.set_shadow_color", picture},
    {"lift", "panel.paste_shadow_color", clipboard},
    {"lift", "panel.set_black_point", picture, grade_goal::black},
    {"lift", "panel.paste_black_point", clipboard, grade_goal::black},
    {"gamma", "panel.reset_gamma", nothing},
    {"gamma", "panel.set_midtone_color", picture},
    {"gain", "panel.reset_gain", nothing},
    {"gain", "panel.set_highlight_color", picture},
    {"gain", "panel.paste_highlight_color", clipboard},
    {"gain", "panel.set_white_point", picture, grade_goal::white},
    {"gain", "panel.paste_white_point", clipboard, grade_goal::white},
};

// The correction's numbers of a channel: 0 red, 1 green, 2 blue.
struct channel_grade {
  double lift, gain, gamma;
};
channel_grade grade_of(const img::correction& tf, std::size_t c) {
  return {tf.lift[2 - c] / 1000.0, tf.gain[2 - c] / 100.0, tf.gamma[2 - c] / 100.0};
}
double lifted(double v, const channel_grade& grade) {
  return grade.gain * v + (1 - v) * grade.lift;
}
double luma(const std::array<double, 3>& values) {
  return luma_weights[0] * values[0] + luma_weights[1] * values[1] + luma_weights[2] * values[2];
}

// "R,G,B" or "R G B", in brackets or not.
std::optional<lib::color> color_of(const std::string& text) {
  int r = -1;
  int g = -1;
  int b = -1;
  const char* start = text.c_str() + (text.starts_with('(') ? 1 : 0);
  if (std::sscanf(start, "%3d%*[ ,]%3d%*[ ,]%3d", &r, &g, &b) != 3) return std::nullopt;
  if (r < 0 || g < 0 || b < 0 || r > 255 || g > 255 || b > 255) return std::nullopt;
  return lib::color{255, static_cast<std::uint8_t>(r), static_cast<std::uint8_t>(g), static_cast<std::uint8_t>(b)};
}

// The settings up to the lift alone.
img::correction up_to_lift(const img::correction& tf) {
  img::correction result;
  result.color_space = tf.color_space;
  result.lookup = tf.lookup;
  result.lookup_table = tf.lookup_table;
  result.exposure = tf.exposure;
  result.temperature = tf.temperature;
  return result;
}

void store(const binding& bound, const char* name, int layer, const std::array<double, 3>& values) {
  ksn::state& composition = bound.bench.composition;
  const command::layer_field* field = bound.bench.engine.find_layer_field(name);
  command::field_value value;
  std::copy(values.begin(), values.end(), value.numbers.begin());
  field->set_value(composition, composition.doc.track_at(layer), command::clamped(field->shape, value));
}

// Every selected layer by the colour that `color_of_layer` gives for it; those without one stay.
void grade_all(const binding& bound, const entry& wanted,
               const std::function<std::optional<linear_color>(int layer)>& color_of_layer) {
  ksn::state& composition = bound.bench.composition;
  bound.changes.make(wanted.field, [&] {
    for (const int layer : composition.doc.selection) {
      const ksn::track_info& track = composition.doc.track_at(layer);
      if (!bound.fits(track)) continue;
      if (const auto color = color_of_layer(layer)) {
        store(bound, wanted.field, layer, graded(wanted.field, wanted.goal, *color, track.look.tf));
      }
    }
  });
}

void run(const binding& bound, const entry& wanted) {
  workbench& bench = bound.bench;
  const auto correction_of = [&bench](int layer) -> const img::correction& {
    return bench.composition.doc.track_at(layer).look.tf;
  };
  switch (wanted.source) {
    case nothing: {
      const command::field_view field = bound.field(wanted.field);
      bound.changes.make(wanted.field, [&] {
        for (std::size_t i = 0; i < 3; ++i) field.set_number(std::string_view(wanted.field) == "lift" ? 0 : 1, i);
      });
      break;
    }
    case picture:
      pick_from_picture(bench, [&bound, &bench, &wanted, correction_of](math::point at) {
        grade_all(bound, wanted, [&](int layer) -> std::optional<linear_color> {
          const std::optional<img::image> pixel = source_pixel(bench, layer, at);
          if (!pixel) return std::nullopt;
          const bool after_cube = bench.pipeline.shown_source(bench.composition.doc.track_at(layer)).after_cube;
          return before_lift(*pixel, correction_of(layer), after_cube);
        });
      });
      break;
    case clipboard: {
      const std::optional<lib::color> color = color_of(bench.host.clipboard_text());
      if (!color) return;
      grade_all(bound, wanted,
                [&](int layer) -> std::optional<linear_color> { return before_lift(*color, correction_of(layer)); });
      break;
    }
  }
}

}  // namespace

std::array<double, 3> graded(std::string_view field, grade_goal goal, const linear_color& color,
                             const img::correction& tf) {
  std::array<double, 3> result{};
  std::array<double, 3> out{};
  for (std::size_t c = 0; c < 3; ++c) out[c] = lifted(color[c], grade_of(tf, c));
  for (std::size_t c = 0; c < 3; ++c) {
    const channel_grade now = grade_of(tf, c);
    const double v = color[c];
    if (field == "gamma") {
      // The exponent under which the channel meets the common grey.
      std::array<double, 3> shown{};
      for (std::size_t i = 0; i < 3; ++i) shown[i] = std::pow(std::max(out[i], 0.0), grade_of(tf, i).gamma);
      const double grey = luma(shown);
      const bool can = out[c] > least_reach && out[c] < 1 - least_reach && grey > least_reach && grey < 1 - least_reach;
      result[c] = can ? std::log(grey) / std::log(out[c]) : now.gamma;
      continue;
    }
    const double wanted = goal == grade_goal::black ? 0 : goal == grade_goal::white ? 1 : luma(out);
    if (field == "lift") {
      result[c] = 1 - v > least_reach ? (wanted - now.gain * v) / (1 - v) : now.lift;
    } else {
      result[c] = v > least_reach ? (wanted - (1 - v) * now.lift) / v : now.gain;
    }
  }
  return result;
}

linear_color before_lift(const img::image& pixel, const img::correction& tf, bool after_cube) {
  img::float_image linear;
  img::transfer(up_to_lift(tf)).convert_float(linear, pixel, false, after_cube);
  const auto value = [&](std::size_t plane) {
    const std::vector<float>& samples = linear.data[linear.data[plane].empty() ? 0 : plane];
    return samples.empty() ? 0.0 : static_cast<double>(samples[0]);
  };
  return {value(2), value(1), value(0)};
}

linear_color before_lift(lib::color color, const img::correction& tf) {
  img::image pixel("BGR", 8, 1, 1);
  pixel.fill(color.b, color.g, color.r, 255);
  img::correction settings = tf;
  settings.color_space = 2;
  settings.lookup.clear();
  settings.lookup_table = {};
  return before_lift(pixel, settings, false);
}

std::function<void(math::point at)> grade_menu(const binding& bound, const char* field) {
  const std::string_view name = field;
  if (name != "lift" && name != "gamma" && name != "gain") return {};
  return [&bound, name](math::point at) {
    workbench& bench = bound.bench;
    const bool has_color = color_of(bench.host.clipboard_text()).has_value();
    std::vector<platform::menu_entry> menu;
    for (const entry& one : entries) {
      if (name != one.field) continue;
      platform::menu_entry& shown = menu.emplace_back();
      shown.text = bench.text(one.key);
      shown.enabled = one.source != clipboard || has_color;
      shown.id = static_cast<int>(&one - entries);
      if (one.source == nothing) menu.emplace_back();
    }
    const int chosen = bench.host.popup_menu(menu, at);
    if (chosen >= 0 && chosen < static_cast<int>(std::size(entries))) run(bound, entries[chosen]);
    bench.input.ask_redraw();
  };
}

}  // namespace ui::panel
