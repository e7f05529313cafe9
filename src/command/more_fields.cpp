// The fields that complete document, view and settings, so that all of them can be read and set by a command.
#include <algorithm>
#include <cmath>

#include "command/field_builder.h"
#include "command/layer_set.h"
#include "composition/editing/canvas.h"

namespace command {

namespace {

using ksn::state;
using ksn::track_info;

constexpr int largest_brush = 10000;    // pixels
constexpr int largest_picture = 65535;  // pixels a side
constexpr double least_retime = 0.001;
constexpr double most_retime = 1000;
constexpr double most_rate = 100000;  // frames a second

#define MEMBER(name)          \
  [](auto& record) -> auto& { \
    return record.name;       \
  }

constexpr ksn::enum_word tab_words[] = {{"color", 0}, {"placement", 1}, {"blending", 2}, {"brush", 3},
                                        {"text", 4},  {"effects", 5},   {"source", 6},   {"r3d", 7}};

value_shape tab() {
  return {.kind = value_kind::word, .least = 0, .most = 7, .words = tab_words};
}

// The layers by number, from the top.
void get_selection(const state&, const state& composition, field_value& value) {
  for (const int index : composition.doc.selection) {
    value.text += (value.text.empty() ? "" : ",") + std::to_string(index + 1);
  }
  if (value.text.empty()) value.text = "none";
}

bool set_selection(state&, state& composition, const field_value& value) {
  layer_set set;
  if (value.text != "none" && !parse_layer_set(composition, value.text, set)) return false;
  for (const int index : set.members) {
    if (index < 0 || index >= composition.doc.track_count()) return false;
  }
  composition.doc.selection = {set.members.begin(), set.members.end()};
  return true;
}

int scaled(int size, int percent) {
  return static_cast<int>(std::rint(size * (percent / 100.0)));
}

void get_dimensions(const state&, const track_info& t, field_value& value) {
  value.numbers = {double(scaled(t.source.width, t.placement.scale_x)),
                   double(scaled(t.source.height, t.placement.scale_y))};
}

// A side that the layer has already keeps its scale, which may give the same pixels as another one.
bool set_dimensions(state&, track_info& t, const field_value& value) {
  if (t.source.width < 1 || t.source.height < 1) return false;
  const auto percent = [](double wanted, int size) {
    return static_cast<int>(std::min(std::rint(wanted * 100.0 / size), double(most_frames)));
  };
  const double width = value.numbers[0];
  const double height = value.numbers[1];
  if (width != scaled(t.source.width, t.placement.scale_x)) t.placement.set_scale_x(percent(width, t.source.width));
  if (height != scaled(t.source.height, t.placement.scale_y)) t.placement.set_scale_y(percent(height, t.source.height));
  return true;
}

void register_playback(engine& engine) {
  const auto add = [&](const char* name, const char* help, value_shape shape, auto access) {
    add_member<state>(engine, name, help, shape, access);
  };
  add("repeat", "what playing does at the end of the work area", words<ksn::repeat_type>(), MEMBER(doc.repeat));
  add("can_drop_frames", "whether playing skips frames to keep up the rate", boolean(), MEMBER(doc.can_drop_frames));
  add("continue_playback_after_drag", "whether playing goes on after a drag through time", boolean(),
      MEMBER(settings.continue_playback_after_drag));
  add_read_only<state>(engine, "playing", "whether the composition plays; read only", boolean(),
                       [](const state& c) { return c.doc.playing; });
  add_read_only<state>(engine, "forward", "whether playing goes forward; read only", boolean(),
                       [](const state& c) { return c.doc.forward; });
  add("counter_type", "what the counter shows", words<ksn::counter_type_t>(), MEMBER(workspace.counter_type));
  add_made<state>(engine, "selection", "the selected layers", text("none|LAYERS"), get_selection, set_selection);
}

void register_view(engine& engine) {
  const auto add = [&](const char* name, const char* help, value_shape shape, auto access) {
    add_member<state>(engine, name, help, shape, access);
  };
  add("resolution", "resolution at which frames are loaded and shown", words<ksn::cache_resolution_type>(),
      MEMBER(view.resolution));
  add("view_channels", "channels that are shown", words<ksn::view_type>(), MEMBER(view.channels));
  add("safe_area_visible", "whether safe area and output mask are shown", boolean(), MEMBER(view.safe_area_active));
  add("view_filter",
      "how the view shows pictures below 100 percent: nearest takes one pixel, smooth the average of all; auto is "
      "smooth "
      "in a window and nearest without",
      words<ksn::view_filter_type>(), MEMBER(view.filter));
  add("global_aspect_enabled", "whether the pixel aspect of the view is on", boolean(), MEMBER(view.aspect_enabled));
  add("grid", "whether the grid is shown", boolean(), MEMBER(view.grid));
  add("switch_views", "whether the left and the right stereo view are exchanged", boolean(), MEMBER(view.switch_views));
  add("timeline_visible", "whether a window shows the timeline", boolean(), MEMBER(workspace.timeline_visible));
  add("infobar_visible", "whether a window shows the information bar", boolean(), MEMBER(workspace.infobar_visible));
  add("property_panel_visible", "whether a window shows the property panel", boolean(), MEMBER(workspace.pp_visible));
  add("pixel_values_visible", "whether a window shows the pixel values at the pointer", boolean(),
      MEMBER(workspace.pv_tooltip_enabled));
  add("fs_timeline_visible", "whether full screen shows the timeline", boolean(),
      MEMBER(workspace.fs_timeline_visible));
  add("fs_infobar_visible", "whether full screen shows the information bar", boolean(),
      MEMBER(workspace.fs_infobar_visible));
  add("fs_property_panel_visible", "whether full screen shows the property panel", boolean(),
      MEMBER(workspace.fs_pp_visible));
  add("fs_pixel_values_visible", "whether full screen shows the pixel values at the pointer", boolean(),
      MEMBER(workspace.fs_pv_tooltip_enabled));
  add("property_panel_tab", "open tab of the property panel", tab(), MEMBER(workspace.pp_tab));
  add("property_panel_position", "place of the property panel in a window, as fractions of its size",
      any_numbers(2, "X,Y", 3), MEMBER(workspace.pp_pos));
  add("fs_property_panel_position", "place of the property panel in full screen, as fractions of its size",
      any_numbers(2, "X,Y", 3), MEMBER(workspace.fs_pp_pos));
  add("split_color", "whether the property panel shows red, green and blue of a correction by themselves", boolean(),
      MEMBER(workspace.split_color));
  add("split_scale", "whether the property panel scales width and height by themselves", boolean(),
      MEMBER(workspace.split_scale));
  add("stack_rows", "most rows of the layer stack that are shown", integer(0), MEMBER(workspace.track_max));
  add("floating_transport", "whether transport buttons show over the picture while the timeline is hidden", boolean(),
      MEMBER(settings.spb_enabled));
}

void register_settings(engine& engine) {
  const auto add = [&](const char* name, const char* help, value_shape shape, auto access) {
    add_member<state>(engine, name, help, shape, access);
  };
  add("vsync", "whether pictures wait for the vertical blank", boolean(), MEMBER(settings.vsync));
  add("vsync_mode", "how they wait: 0 no tearing, 1 wait for the blank, 2 poll for it", integer(0, 2),
      MEMBER(settings.vsync_mode));
  add("vsync_throttle", "whether the main loop rests between frames", integer(0, 1), MEMBER(settings.vsync_parameter));
  add("automatic_preload", "whether frames of new layers are loaded into memory", boolean(),
      MEMBER(settings.automatic_preload));
  add("disable_caching_by_default", "whether frames of new layers are kept out of memory", boolean(),
      MEMBER(settings.disable_caching_by_default));
  add("brush_size", "diameter of the brush in pixels", integer(1, largest_brush), MEMBER(workspace.brush_size));
  add("brush_softness", "softness of the brush in percent", integer(0, 100), MEMBER(workspace.brush_softness));
  add("brush_spacing", "distance of the brush's stamps in percent of its size", integer(1, 1000),
      MEMBER(workspace.brush_spacing));
  add("brush_color", "colour of the brush; its alpha is the opacity", color(true), MEMBER(workspace.brush_color));
  add("brush_pressure", "what the pressure of a pen changes of the brush", words<ksn::brush_pressure_type>(),
      MEMBER(workspace.brush_pressure));
  add("ext_device", "device of the external output; secondary and tertiary are monitors", words<ksn::ext_device_type>(),
      MEMBER(settings.ext_device));
  add("ext_alpha", "what the external output does with alpha", words<ksn::ext_alpha_type>(),
      MEMBER(settings.ext_alpha));
  add_by<state>(
      engine, "default_fps", "frame rate of new compositions", number(0.01, 10000, 2),
      [](const state& c) { return c.settings.default_cfps / 100.0; },
      [](state& c, double rate) { c.settings.default_cfps = static_cast<int>(std::rint(rate * 100.0)); });
  add("default_frame_base", "number of the first frame of new compositions", integer(0, 1),
      MEMBER(settings.default_frame_base));
  add("default_alpha", "how the alpha of new layers is read", words<ksn::alpha_type>(),
      MEMBER(settings.default_alpha_type));
  add("default_back_color", "background of new compositions", words<ksn::back_color_type>(),
      MEMBER(settings.default_back_color));
  add("default_back_custom_color", "custom background of new compositions", color(false),
      MEMBER(settings.default_back_custom_color));
}

bool set_size(track_info& layer, math::point size) {
  ksn::layer_source& source = layer.source;
  if (size == math::point{source.width, source.height}) return true;
  const bool made_inside = source.type == ksn::source_type::adjustment || source.type == ksn::source_type::text ||
                           (ksn::has_canvas(layer) && !source.brush_image && source.brush_seq.empty());
  if (!made_inside || size.x < 1 || size.y < 1) return false;
  source.width = size.x;
  source.height = size.y;
  return true;
}

void register_layers(engine& engine) {
  const auto add = [&](const char* name, const char* help, value_shape shape, auto access) {
    add_member<track_info>(engine, name, help, shape, access);
  };
  const auto tell = [&](const char* name, const char* help, value_shape shape, auto get) {
    add_read_only<track_info>(engine, name, help, shape, get);
  };
  add("visible", "whether the layer is visible", boolean(), MEMBER(look.visible));
  add("audible", "whether the layer's sound is heard", boolean(), MEMBER(sound.audible));
  add("retime", "frames of the timeline for each frame of the source", number(least_retime, most_retime, 3),
      MEMBER(timing.retime));
  add_made<track_info>(
      engine, "rate", "frames of the layer's source that play in a second", number(0.001, most_rate, 2),
      [](const state& c, const track_info& t, field_value& value) {
        value.numbers[0] = c.doc.fpcs / 100.0 / t.timing.retime;
      },
      [](state& c, track_info& t, const field_value& value) {
        t.timing.retime = std::clamp(c.doc.fpcs / 100.0 / value.numbers[0], least_retime, most_retime);
        return true;
      });
  add_made<track_info>(engine, "dimensions",
                       "size of the layer in the composition, in pixels: that of its picture under its scale",
                       integers(2, "W,H", 1, most_frames), get_dimensions, set_dimensions);
  add("nonlog_cineon", "whether 10-bit film codes of the layer are not logarithmic", boolean(),
      MEMBER(look.tf.nonlog_cineon));
  add("blur_radius", "radius of the layer's blur in pixels, which documents keep and nothing here draws",
      integer(0, most_frames), MEMBER(look.blur_radius));
  tell("id", "identity of the layer, for id(); read only", integer(), [](const track_info& t) { return t.id; });
  tell("source_type", "kind of the layer's source; read only", words<ksn::source_type>(),
       [](const track_info& t) { return t.source.type; });
  tell("path", "file of the layer's source, or folder of its sequence; read only", text(),
       [](const track_info& t) { return t.source.path; });
  tell("frames", "frames in the layer's source; read only", integer(),
       [](const track_info& t) { return t.source.frames; });
  add_by<track_info>(
      engine, "size",
      "size of the layer's picture in pixels; that of an adjustment, text or empty brush layer can be set",
      integers(2, "W,H", 0, largest_picture),
      [](const track_info& t) {
        return math::point{t.source.width, t.source.height};
      },
      set_size);
}

#undef MEMBER

}  // namespace

void register_more_fields(engine& engine) {
  register_playback(engine);
  register_view(engine);
  register_settings(engine);
  register_default_text_fields(engine);
  register_layers(engine);
}

}  // namespace command
