// Fields of the composition, in the order of print_fields.
#include <cmath>

#include "command/field_builder.h"

namespace command {

namespace {

using ksn::state;

constexpr int largest_size = 65535;       // pixels a side, as for any picture
constexpr double lowest_rate = 0.01;      // frames a second
constexpr double highest_rate = 10000.0;  // frames a second

#define MEMBER(name)               \
  [](auto& composition) -> auto& { \
    return composition.name;       \
  }

value_shape frame() {
  return integer(-most_frames, most_frames);
}

void get_back_color(const state&, const state& c, field_value& value) {
  value.text = c.doc.back_color == ksn::back_color_type::custom ? write_color(c.doc.back_custom_color)
                                                                : std::string(ksn::word_of(c.doc.back_color));
}

bool set_back_color(state&, state& c, const field_value& value) {
  if (ksn::value_of(value.text, c.doc.back_color)) return true;
  lib::color color;
  if (!read_color(value.text, color)) return false;
  color.a = 255;
  c.doc.set_back_color(color);
  return true;
}

void set_safe_area(state& c, ksn::safe_area_type_t type) {
  c.view.safe_area_type = type;
  c.view.safe_area_active = type != ksn::safe_area_type_t::none;
}

// `layer` stands for the size of the selected layer.
void take_layer_size(engine& engine) {
  global_field& row = engine.global_field_table.back();
  row.shape.form = "W,H|layer";
  row.set = [&engine, as_numbers = row.set](state& composition, state& record, const std::string& text) {
    if (text != "layer") return as_numbers(composition, record, text);
    const ksn::track_info* track = composition.doc.selected_track();
    if (!track) {
      engine.report(about(engine.current_option(), option_needs_layer));
    } else if (track->source.width < 1 || track->source.height < 1) {
      engine.report(about(engine.current_option(), "The layer has no picture"));
    } else {
      composition.doc.mask_size = {track->source.width, track->source.height};
    }
    return true;
  };
}

// `fit` stands for the zoom at which all visible layers fit the preview area. A zoom that was told stays.
void take_fit(engine& engine) {
  global_field& row = engine.global_field_table.back();
  row.shape.form = "PERCENT|fit";
  row.set = [as_number = row.set](state& composition, state& record, const std::string& text) {
    composition.fit = text == "fit" ? ksn::view_fit::asked : ksn::view_fit::settled;
    if (text != "fit") return as_number(composition, record, text);
    composition.hooks.fit_view();
    return true;
  };
}

}  // namespace

void register_global_fields(engine& engine) {
  const auto member = [&](const char* name, const char* help, value_shape shape, auto access) {
    add_member<state>(engine, name, help, shape, access);
  };
  const auto by = [&](const char* name, const char* help, value_shape shape, auto get, auto set) {
    add_by<state>(engine, name, help, shape, get, set);
  };
  by(
      "timeline", "length of the timeline in frames, at least 10", frame(), [](const state& c) { return c.doc.tm_n; },
      [](state& c, int n) { c.doc.set_timeline_length(n, false); });
  by(
      "wa_begin", "first frame of the work area", frame(), [](const state& c) { return c.doc.tm_f; },
      [](state& c, int n) { c.doc.set_workarea_begin(n); });
  by(
      "wa_end", "end of the work area: the frame after its last one", frame(),
      [](const state& c) { return c.doc.tm_l; }, [](state& c, int n) { c.doc.set_workarea_end(n); });
  by(
      "time", "current time in frames of the timeline", any_number(3), [](const state& c) { return c.doc.tm_t; },
      [](state& c, double t) { c.doc.set_current_time(t); });
  add_made<state>(engine, "back_color", "background of the composite",
                  text(form_of(words<ksn::back_color_type>()) + "|R,G,B"), get_back_color, set_back_color);
  by(
      "safe_area", "safe area that is shown over the picture", words<ksn::safe_area_type_t>(),
      [](const state& c) { return c.view.safe_area_active ? c.view.safe_area_type : ksn::safe_area_type_t::none; },
      set_safe_area);
  member("mask_type", "how the output mask is shown", words<ksn::mask_type_t>(), MEMBER(view.mask_type));
  member("mask_size", "size of the output in pixels; `layer` takes the size of the selected layer",
         integers(2, "W,H", 1, largest_size), MEMBER(doc.mask_size));
  take_layer_size(engine);
  by(
      "fps", "frame rate of the timeline, in frames a second", number(lowest_rate, highest_rate, 2),
      [](const state& c) { return c.doc.fpcs / 100.0; },
      [](state& c, double rate) { c.doc.set_frame_rate(static_cast<int>(std::rint(rate * 100.0))); });
  member("zoom", "zoom of the view in percent; `fit` shows all visible layers as large as there is room",
         integer(1, most_frames), MEMBER(view.zoom_factor2));
  take_fit(engine);
  member("pan", "pan of the view, in pixels of the composition", any_numbers(2, "X,Y", 1), MEMBER(view.pan_position));
  member("frame_base", "number that the first frame is shown with", integer(0, 1), MEMBER(doc.frame_base));
  by(
      "global_aspect", "pixel aspect of the view; a value below 1 switches it off", any_number(3),
      [](const state& c) { return c.view.aspect; }, [](state& c, double value) { c.view.set_view_aspect(value); });
  member("apply_transforms_to_mask", "whether the placement of the selected layer moves the output mask", boolean(),
         MEMBER(view.mask_transforms_enabled));
  member("stereo_view", "stereo view that is shown", words<ksn::target_view_type>(), MEMBER(view.stereo_view));
  member("stereo_mode", "how two stereo views become one picture", words<ksn::stereo_view_type>(),
         MEMBER(view.stereo_mode));
  member("global_volume", "volume of all sound, in percent", integer(0, most_frames), MEMBER(settings.volume));
}

#undef MEMBER

}  // namespace command
