// The choices that right-click menus offer beside the other actions. Each is an action under the key of its text, so
// that keys and command files can run it too.
#include <algorithm>

#include "command/engine.h"
#include "composition/editing/layer_switches.h"

namespace command {

namespace {

using namespace ksn;

struct choice_row {
  const char* name;
  const char* help;
  void (*run)(state&);
  bool (*checked)(const state&) = nullptr;  // no toggle
  bool (*enabled)(const state&) = nullptr;  // always
};

// Stores a value; checked while it is stored.
#define CHOICE(name, help, field, value)                                                           \
  {                                                                                                \
    name, help, [](state& c) { c.field = value; }, [](const state& c) { return c.field == value; } \
  }

constexpr choice_row view_rows[] = {
    CHOICE("view_r_color", "show red in colour", view.channels, view_type::r_color),
    CHOICE("view_r_grayscale", "show red as grey", view.channels, view_type::r_grayscale),
    CHOICE("view_r_hidden", "hide red", view.channels, view_type::r_hidden),
    CHOICE("view_g_color", "show green in colour", view.channels, view_type::g_color),
    CHOICE("view_g_grayscale", "show green as grey", view.channels, view_type::g_grayscale),
    CHOICE("view_g_hidden", "hide green", view.channels, view_type::g_hidden),
    CHOICE("view_b_color", "show blue in colour", view.channels, view_type::b_color),
    CHOICE("view_b_grayscale", "show blue as grey", view.channels, view_type::b_grayscale),
    CHOICE("view_b_hidden", "hide blue", view.channels, view_type::b_hidden),

    CHOICE("opt_target_view_left", "show the left stereo view", view.stereo_view, target_view_type::left),
    CHOICE("opt_target_view_right", "show the right stereo view", view.stereo_view, target_view_type::right),
    CHOICE("opt_target_view_both", "show both stereo views in one picture", view.stereo_view, target_view_type::both),
    CHOICE("opt_stereo_view_anaglyph", "combine stereo views as a red and cyan anaglyph", view.stereo_mode,
           stereo_view_type::anaglyph),
    CHOICE("opt_stereo_view_anaglyph_gm", "combine stereo views as a green and magenta anaglyph", view.stereo_mode,
           stereo_view_type::anaglyph_gm),
    CHOICE("opt_stereo_view_interlaced", "combine stereo views row by row", view.stereo_mode,
           stereo_view_type::interlaced),
    CHOICE("opt_stereo_view_checkerboard", "combine stereo views pixel by pixel", view.stereo_mode,
           stereo_view_type::checkerboard),
    {"opt_switch_views", "exchange the left and the right stereo view",
     [](state& c) { c.view.switch_views = !c.view.switch_views; }, [](const state& c) { return c.view.switch_views; }},

    CHOICE("cache_resolution_full", "load and show frames at full resolution", view.resolution,
           cache_resolution_type::full),
    CHOICE("cache_resolution_half", "load and show frames at half their resolution", view.resolution,
           cache_resolution_type::half),
    CHOICE("cache_resolution_quarter", "load and show frames at a quarter of their resolution", view.resolution,
           cache_resolution_type::quarter),

    CHOICE("opt_vsync_notearing", "leave it to the display to avoid tearing", settings.vsync_mode, 0),
    CHOICE("opt_vsync_waitvb", "wait for the vertical blank", settings.vsync_mode, 1),
    CHOICE("opt_vsync_pollvb", "poll for the vertical blank", settings.vsync_mode, 2),
    CHOICE("opt_vsync_high_cpu", "run the main loop without a rest, for the smoothest picture",
           settings.vsync_parameter, 0),
    CHOICE("opt_vsync_low_cpu", "let the main loop rest between frames", settings.vsync_parameter, 1),
};

// A kind that is chosen is shown, too.
#define SHOWN_CHOICE(name, help, field, value)                                                 \
  {                                                                                            \
    name, help,                                                                                \
        [](state& c) {                                                                         \
          c.field = value;                                                                     \
          c.view.safe_area_active = c.view.safe_area_active || c.field != decltype(c.field){}; \
        },                                                                                     \
        [](const state& c) { return c.field == value; }                                        \
  }

bool one_picture(const state& c) {
  return c.doc.selected_track() && c.doc.selected_track()->source.width > 0 &&
         c.doc.selected_track()->source.height > 0;
}

math::point cropped_size(const track_info& track) {
  const bool cropped = track.placement.crop && track.placement.crop_wh.x > 0 && track.placement.crop_wh.y > 0;
  return cropped ? track.placement.crop_wh : math::point{track.source.width, track.source.height};
}

constexpr choice_row mask_rows[] = {
    SHOWN_CHOICE("safe_area_none", "show no safe area", view.safe_area_type, safe_area_type_t::none),
    SHOWN_CHOICE("safe_area_blue", "show the blue safe area", view.safe_area_type, safe_area_type_t::blue),
    SHOWN_CHOICE("safe_area_orange", "show the orange safe area", view.safe_area_type, safe_area_type_t::orange),
    SHOWN_CHOICE("mask_none", "show no output mask", view.mask_type, mask_type_t::none),
    SHOWN_CHOICE("mask_transparent", "darken what lies outside the output", view.mask_type, mask_type_t::transparent),
    SHOWN_CHOICE("mask_crop", "show the background outside the output", view.mask_type, mask_type_t::crop),
    SHOWN_CHOICE("mask_crop_safe", "show the background and a frame outside the output", view.mask_type,
                 mask_type_t::crop_safe),
    {"mask_transforms_enabled", "let the placement of the selected layer move the output mask, or not",
     [](state& c) { c.view.mask_transforms_enabled = !c.view.mask_transforms_enabled; },
     [](const state& c) { return c.view.mask_transforms_enabled; }},
    {"pv_mask_layer", "give the output the size of the selected layer's picture",
     [](state& c) {
       c.doc.mask_size = {c.doc.selected_track()->source.width, c.doc.selected_track()->source.height};
     },
     nullptr, one_picture},
    {"pv_mask_layer2", "give the output the size of the selected layer's crop",
     [](state& c) { c.doc.mask_size = cropped_size(*c.doc.selected_track()); }, nullptr, one_picture},

    CHOICE("back_color_black", "put black behind the layers", doc.back_color, back_color_type::black),
    CHOICE("back_color_dark_grey", "put dark grey behind the layers", doc.back_color, back_color_type::dark_grey),
    CHOICE("back_color_green", "put green behind the layers", doc.back_color, back_color_type::green),
    CHOICE("back_color_blue", "put blue behind the layers", doc.back_color, back_color_type::blue),
    CHOICE("back_color_magenta", "put magenta behind the layers", doc.back_color, back_color_type::magenta),
    CHOICE("back_color_white", "put white behind the layers", doc.back_color, back_color_type::white),
    CHOICE("back_color_transparent", "put nothing behind the layers", doc.back_color, back_color_type::transparent),
    CHOICE("back_color_custom", "put your own colour behind the layers", doc.back_color, back_color_type::custom),
    {"back_color_set_as_default", "start new compositions with this background",
     [](state& c) {
       c.settings.default_back_color = c.doc.back_color;
       c.settings.default_back_custom_color = c.doc.back_custom_color;
     }},
};

bool some(const state& c) {
  return c.doc.has_selection();
}

bool all_selected(const state& c, bool (*holds)(const track_info& track)) {
  return some(c) && std::all_of(c.doc.selection.begin(), c.doc.selection.end(),
                                [&](int index) { return holds(c.doc.track_at(index)); });
}

// A mode of all selected layers. Undoable.
#define MODE(name, help, set, field, mode)                                                                           \
  {                                                                                                                  \
    name, help, [](state& c) { set(c, mode); },                                                                      \
        [](const state& c) { return all_selected(c, [](const track_info& track) { return track.field == mode; }); }, \
        some                                                                                                         \
  }

constexpr choice_row mode_rows[] = {
    MODE("blend_normal", "blend the selected layers normally", set_blend_mode, look.blend_type, blend_type::normal),
    MODE("blend_add", "add the selected layers to what is below", set_blend_mode, look.blend_type, blend_type::add),
    MODE("blend_mul", "multiply the selected layers with what is below", set_blend_mode, look.blend_type,
         blend_type::multiply),
    MODE("blend_screen", "blend the selected layers by screen", set_blend_mode, look.blend_type, blend_type::screen),
    MODE("blend_difference", "show the difference of the selected layers from what is below", set_blend_mode,
         look.blend_type, blend_type::difference),
    MODE("alpha_ignore", "ignore the alpha of the selected layers", set_alpha_mode, look.alpha_type,
         alpha_type::ignore),
    MODE("alpha_normal", "read the alpha of the selected layers as straight", set_alpha_mode, look.alpha_type,
         alpha_type::normal),
    MODE("alpha_pm", "read the alpha of the selected layers as premultiplied", set_alpha_mode, look.alpha_type,
         alpha_type::pm),
    MODE("alpha_pm2", "read the alpha of the selected layers as premultiplied, with opacity as a mask", set_alpha_mode,
         look.alpha_type, alpha_type::mask),
    MODE("depth_ignore", "leave depth alone in the selected layers", set_depth_mode, look.depth_blend_type,
         depth_blend_type::ignore),
    MODE("depth_replace", "let the selected layers replace the depth below", set_depth_mode, look.depth_blend_type,
         depth_blend_type::replace),
    MODE("depth_combine", "let the selected layers hide and be hidden by depth", set_depth_mode, look.depth_blend_type,
         depth_blend_type::combine),
    {"ta_set_default_alpha", "give new layers with alpha the alpha mode of the selected one",
     [](state& c) { c.settings.default_alpha_type = c.doc.selected_track()->look.alpha_type; }, nullptr,
     [](const state& c) { return c.doc.selected_track() != nullptr; }},
};

constexpr choice_row time_rows[] = {
    CHOICE("tc_frame", "count frames", workspace.counter_type, counter_type_t::frame),
    CHOICE("tc_timecode", "count by time code", workspace.counter_type, counter_type_t::timecode),
    CHOICE("tc_frame_from_name", "show the number in the frame's file name", workspace.counter_type,
           counter_type_t::frame_from_name),
    CHOICE("tc_embedded_frame", "show the frame number that the file holds", workspace.counter_type,
           counter_type_t::embedded_frame),
    CHOICE("tc_embedded_timecode", "show the time code that the file holds", workspace.counter_type,
           counter_type_t::embedded_timecode),
    CHOICE("tc_embedded_timecode2", "show the second time code that the file holds", workspace.counter_type,
           counter_type_t::embedded_timecode2),
    CHOICE("tc_embedded_keycode", "show the key code that the file holds", workspace.counter_type,
           counter_type_t::embedded_keycode),
    CHOICE("pv_fps_can_drop_frames", "skip frames where needed to keep up the rate", doc.can_drop_frames, true),
    CHOICE("pv_fps_cannot_drop_frames", "show every frame, even if that is slower", doc.can_drop_frames, false),
    {"tm_fps_set_as_default", "start new compositions with this frame rate",
     [](state& c) { c.settings.default_cfps = c.doc.fpcs; },
     [](const state& c) { return c.settings.default_cfps == c.doc.fpcs; }},
    CHOICE("frame_base_0", "number frames from 0", doc.frame_base, 0),
    CHOICE("frame_base_1", "number frames from 1", doc.frame_base, 1),
    {"frame_base_set_as_default", "start new compositions with this number for the first frame",
     [](state& c) { c.settings.default_frame_base = c.doc.frame_base; },
     [](const state& c) { return c.settings.default_frame_base == c.doc.frame_base; }},
    {"pvm_set_default_aspect", "give new layers of this size the pixel aspect of the selected layer",
     [](state& c) {
       const track_info& track = *c.doc.selected_track();
       c.settings.default_aspect[{track.source.width, track.source.height}] = track.placement.aspect;
     },
     nullptr, one_picture},
};

// Of devices that no system here has a driver for: known by documents and settings, never to be chosen.
#define FOREIGN_CHOICE(name, help, field, value)                                                    \
  {                                                                                                 \
    name, help, [](state& c) { c.field = value; }, [](const state& c) { return c.field == value; }, \
        [](const state&) { return false; }                                                          \
  }

constexpr choice_row output_rows[] = {
    CHOICE("ext_device_secondary", "use the second monitor as external output", settings.ext_device,
           ksn::ext_device_type::secondary),
    CHOICE("ext_device_tertiary", "use the third monitor as external output", settings.ext_device,
           ksn::ext_device_type::tertiary),
    FOREIGN_CHOICE("ext_device_decklink", "not supported here: a DeckLink device as external output",
                   settings.ext_device, ksn::ext_device_type::decklink),
    FOREIGN_CHOICE("ext_device_firewire", "not supported here: a FireWire device as external output",
                   settings.ext_device, ksn::ext_device_type::firewire),
    FOREIGN_CHOICE("ext_device_vtoaster", "not supported here: a Video Toaster device as external output",
                   settings.ext_device, ksn::ext_device_type::vtoaster),
    FOREIGN_CHOICE("ext_device_bluefish", "not supported here: a Bluefish device as external output",
                   settings.ext_device, ksn::ext_device_type::bluefish),
    FOREIGN_CHOICE("ext_device_aja_dshow", "not supported here: an AJA device as external output", settings.ext_device,
                   ksn::ext_device_type::aja_dshow),
    FOREIGN_CHOICE("ext_alpha_none", "monitors take no alpha: send none to the external output", settings.ext_alpha,
                   ext_alpha_type::none),
    FOREIGN_CHOICE("ext_alpha_internal", "monitors take no alpha: let a video card key the picture over its background",
                   settings.ext_alpha, ext_alpha_type::internal),
    FOREIGN_CHOICE("ext_alpha_external", "monitors take no alpha: send it to a video card as a second picture",
                   settings.ext_alpha, ext_alpha_type::external),
};

#undef FOREIGN_CHOICE
#undef CHOICE
#undef SHOWN_CHOICE
#undef MODE

// Fields with a value that menus offer. They are no actions of their own: the row is for their text and check mark.
struct field_choice {
  std::string field;
  std::string value;
  std::string text;
  const char* keys = "";
};

std::string with_sign(int percent) {
  return std::to_string(percent) + "%";
}

void add_field_choice(engine& engine, const field_choice& choice) {
  engine.add({.group = action_group::menu_choice,
              .name = choice.field + "=" + choice.value,
              .keys = choice.keys,
              .checked =
                  [&engine, choice] {
                    std::string value;
                    return engine.get_field("global:" + choice.field, value) && value == choice.value;
                  },
              .title = [text = choice.text] { return text; }});
}

}  // namespace

void register_menu_choices(engine& engine) {
  state& composition = engine.composition();
  const auto add = [&](const auto& rows) {
    for (const choice_row& row : rows) {
      action entry;
      entry.group = action_group::menu_choice;
      entry.name = row.name;
      entry.help = row.help;
      entry.execute = [&composition, run = row.run] { run(composition); };
      if (row.checked) entry.checked = [&composition, checked = row.checked] { return checked(composition); };
      if (row.enabled) entry.enabled = [&composition, enabled = row.enabled] { return enabled(composition); };
      engine.add(std::move(entry));
    }
  };
  add(view_rows);
  add(mask_rows);
  add(mode_rows);
  add(time_rows);
  add(output_rows);
  for (const int zoom : {25, 50, 100, 200, 400}) {
    add_field_choice(engine, {"zoom", std::to_string(zoom), with_sign(zoom),
                              zoom == 50    ? "3"
                              : zoom == 200 ? "2"
                                            : ""});
  }
  for (const int reserve : {10, 20, 30, 40, 50}) {
    add_field_choice(engine, {"memory_reserve", std::to_string(reserve), with_sign(reserve)});
  }
  for (const char* rate : {"23.98", "24", "25", "29.97", "30", "48", "50", "59.94", "60"}) {
    add_field_choice(engine, {"fps", rate, rate});
  }
  for (const auto& [aspect, text] :
       {std::pair("1", "1.000"), {"1.0666667", "1.067"}, {"1.2", "1.200"}, {"1.4222222", "1.422"}, {"2", "2.000"}}) {
    add_field_choice(engine, {"global_aspect", aspect, text});
  }
  for (const auto& [width, height] : {std::pair(720, 486),
                                      {720, 576},
                                      {1280, 720},
                                      {1920, 1080},
                                      {2048, 1080},
                                      {2048, 1556},
                                      {3840, 2160},
                                      {4096, 2160}}) {
    const std::string w = std::to_string(width);
    const std::string h = std::to_string(height);
    add_field_choice(engine, {"mask_size", w + "," + h, w + " x " + h});
  }
}

}  // namespace command
