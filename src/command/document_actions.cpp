// The document's own actions.
#include "command/engine.h"
#include "command/messages.h"
#include "command/values.h"
#include "composition/editing/canvas.h"
#include "composition/editing/layer_cache.h"
#include "composition/editing/layer_placement.h"
#include "composition/editing/layer_stack.h"
#include "composition/editing/layer_switches.h"
#include "composition/editing/selection.h"
#include "composition/editing/undo.h"
#include "composition/invariants.h"
#include "composition/opening/replace.h"
#include "composition/opening/stereo_pair.h"
#include "composition/opening/versions.h"
#include "composition/opening/watching.h"
#include "composition/time/frame_numbers.h"
#include "composition/time/layer_time.h"
#include "composition/time/transport.h"
#include "sources/video_input.h"

namespace command {

namespace {

using ksn::channel_type;
using ksn::state;
using ksn::track_info;
using ksn::view_type;

using operation = void (*)(state&);
using question = bool (*)(const state&);

struct document_row {
  const char* name;
  const char* help;
  const char* keys;
  const char* menu;
  int position;  // in the menu
  operation run;
  question enabled = nullptr;  // always
  question checked = nullptr;  // no toggle
};

bool some(const state& c) {
  return c.doc.has_selection();
}
bool one(const state& c) {
  return c.doc.selected_index() != c.doc.track_count();
}
bool any(const state& c) {
  return c.doc.track_count() > 0;
}

// Where an object keeps a switch.
#define FIELD(path)           \
  [](auto& object) -> auto& { \
    return object.path;       \
  }

template <auto Field>
void flip(state& c) {
  bool& value = Field(c);
  value = !value;
}
template <auto Field>
bool is_on(const state& c) {
  return Field(c);
}
template <bool& (ksn::workspace::*Shown)()>
void flip_shown(state& c) {
  bool& shown = (c.workspace.*Shown)();
  shown = !shown;
}
template <bool& (ksn::workspace::*Shown)()>
bool is_shown(const state& c) {
  return (const_cast<state&>(c).workspace.*Shown)();
}
template <auto Field>
void flip_layers(state& c) {
  ksn::toggle_in_selection(c, Field);
}
template <auto Field>
bool layers_on(const state& c) {
  return ksn::on_in_selection(c, Field);
}
template <view_type View>
void show_channel(state& c) {
  c.view.toggle_channel(View);
}
template <channel_type Channel>
void step_channel(state& c) {
  c.view.step_channel_mode(Channel);
}
template <channel_type Channel>
bool channel_lit(const state& c) {
  return c.view.channel_lit(Channel);
}
template <int X, int Y>
void move_layers(state& c) {
  ksn::move_selected_layers(c, {X, Y});
}
template <int X, int Y>
void move_by_half(state& c) {
  ksn::move_by_half_size(c, X, Y);
}

constexpr document_row selection_rows[] = {
    {"layer_delete_selected", "delete the selected layers", "Delete", "mi_layer", 90, ksn::layer_delete_selected, some},
    {"layer_delete_all", "delete all layers", "", "", 0, [](state& c) { c.layer_delete_all(); },
     [](const state& c) { return any(c) || c.doc.timeline_user_set; }},
    {"layer_select_up", "select the layer above the selected one", "PageUp", "mi_edit", 50, ksn::layer_select_up, any},
    {"layer_select_down", "select the layer below the selected one", "PageDown", "mi_edit", 51, ksn::layer_select_down,
     any},
    {"layer_select_first", "select the top layer", "", "mi_edit", 60, ksn::layer_select_first, any},
    {"layer_select_last", "select the bottom layer", "", "mi_edit", 61, ksn::layer_select_last, any},
    {"layer_select_all", "select all layers", "Ctrl+A", "mi_edit", 70, ksn::layer_select_all, any},
    {"layer_select_none", "deselect all layers", "Ctrl+Shift+A", "mi_edit", 71, ksn::layer_select_none, any},
    {"layer_select_group", "select the group of the selected layer", "", "mi_edit", 80, ksn::layer_select_group,
     ksn::can_select_group},
    {"layer_assign_group", "make the selected layers a group", "", "mi_edit", 81, ksn::layer_assign_group,
     ksn::can_assign_group},
};

constexpr document_row transport_rows[] = {
    {"next_frame", "go to the next frame", "Right", "mi_play", 20, ksn::next_frame},
    {"prev_frame", "go to the previous frame", "Left", "mi_play", 21, ksn::prev_frame},
    {"first_frame", "go to the first frame of the work area", "Home", "mi_play", 30, ksn::first_frame},
    {"last_frame", "go to the last frame of the work area", "End", "mi_play", 31, ksn::last_frame},
    {"toggle_repeat", "switch to the next repeat mode: once, ping-pong, loop", "Ctrl+L", "mi_play", 40,
     [](state& c) { c.doc.toggle_repeat(); }},
    {"increase_fps", "raise the frame rate to the next whole or broadcast rate", "Shift+=", "mi_play", 50,
     [](state& c) { c.doc.increase_fps(); }},
    {"decrease_fps", "lower the frame rate to the next whole or broadcast rate", "Shift+-", "mi_play", 51,
     [](state& c) { c.doc.decrease_fps(); }},
    {"toggle_continue_playback_after_drag", "go on playing after a drag through time, or stop there", "", "mi_play", 60,
     flip<FIELD(settings.continue_playback_after_drag)>, nullptr, is_on<FIELD(settings.continue_playback_after_drag)>},
};

constexpr document_row work_area_rows[] = {
    {"workarea_set_begin", "start the work area at the current frame", "I", "mi_edit", 110,
     [](state& c) { c.doc.set_workarea_begin(static_cast<int>(c.doc.tm_t)); }},
    {"workarea_set_end", "end the work area before the current frame", "O", "mi_edit", 111,
     [](state& c) { c.doc.set_workarea_end(static_cast<int>(c.doc.tm_t)); }},
    {"workarea_set_to_selection", "fit the work area to the selected layers", "Ctrl+W", "mi_edit", 112,
     ksn::workarea_set_to_selection, some},
    {"timeline_fit_all_layers", "fit the timeline to all layers", "Ctrl+T", "mi_edit", 120,
     [](state& c) { c.doc.timeline_fit_all_layers(); }},
    {"timeline_trim_to_workarea", "cut the timeline down to the work area", "Ctrl+Shift+T", "mi_edit", 121,
     [](state& c) { c.doc.timeline_trim_to_workarea(); }},
};

constexpr document_row layer_time_rows[] = {
    {"layer_go_to_begin", "go to the start of the selected layer's source", "", "mi_layer_go", 0,
     ksn::layer_go_to_begin, one},
    {"layer_go_to_end", "go to the end of the selected layer's source", "", "mi_layer_go", 1, ksn::layer_go_to_end,
     one},
    {"layer_go_to_in", "go to the in point of the selected layer", "Ctrl+[", "mi_layer_go", 2, ksn::layer_go_to_in,
     one},
    {"layer_go_to_out", "go to the out point of the selected layer", "Ctrl+]", "mi_layer_go", 3, ksn::layer_go_to_out,
     one},
    {"layer_align_begin", "move the selected layers so that their sources start at the current time", "",
     "mi_layer_align", 0, ksn::layer_align_begin, some},
    {"layer_align_end", "move the selected layers so that their sources end at the current time", "", "mi_layer_align",
     1, ksn::layer_align_end, some},
    {"layer_align_in", "move the selected layers so that their in point is at the current time", "Shift+[",
     "mi_layer_align", 2, ksn::layer_align_in, some},
    {"layer_align_out", "move the selected layers so that their out point is at the current time", "Shift+]",
     "mi_layer_align", 3, ksn::layer_align_out, some},
    {"layer_position_after",
     "start each selected layer where the next one ends; a single one, where the layer below it ends", "",
     "mi_layer_align", 10, ksn::layer_position_after, some},
    {"layer_set_in_at_current", "set the in point of the selected layer to the current time", "[", "mi_layer_time", 0,
     ksn::layer_set_in_at_current, one},
    {"layer_set_out_at_current", "set the out point of the selected layer to the current time", "]", "mi_layer_time", 1,
     ksn::layer_set_out_at_current, one},
    {"layer_shift_left", "move the selected layer one frame earlier", ",", "mi_layer_time", 10, ksn::layer_shift_left,
     one},
    {"layer_shift_right", "move the selected layer one frame later", ".", "mi_layer_time", 11, ksn::layer_shift_right,
     one},
    {"layer_resize_to_timeline", "stretch the selected still, text or adjustment layer over the whole timeline", "",
     "mi_layer_time", 20, ksn::layer_resize_to_timeline, ksn::can_resize_in_time},
    {"layer_resize_to_workarea", "stretch the selected still, text or adjustment layer over the work area", "",
     "mi_layer_time", 21, ksn::layer_resize_to_workarea, ksn::can_resize_in_time},
    {"layer_duplicate_and_split", "cut the selected layers in two at the current time", "Ctrl+Shift+D", "mi_layer", 31,
     ksn::layer_duplicate_and_split, [](const state& c) { return !ksn::layers_to_split(c).empty(); }},
};

constexpr document_row view_rows[] = {
    {"increase_zoom_factor", "zoom in one step", "= Numpad+", "mi_view", 41,
     [](state& c) { c.view.increase_zoom_factor(); }},
    {"decrease_zoom_factor", "zoom out one step", "- Numpad-", "mi_view", 42,
     [](state& c) { c.view.decrease_zoom_factor(); }},
    {"reset_zoom_factor", "zoom to 100 percent", "", "", 0, [](state& c) { c.view.zoom_factor2 = 100; }},
    {"reset_pan_position", "move the centre of the composition to the middle of the view", "", "", 0,
     [](state& c) { c.view.pan_position = {}; }},
    {"reset_pan_and_zoom", "zoom to 100 percent with the composition in the middle of the view", "1 0", "mi_view", 40,
     [](state& c) {
       c.view.pan_position = {};
       c.view.zoom_factor2 = 100;
     }},
    {"view_exposure_up", "show the picture a quarter of a stop brighter", "E", "mi_view", 100,
     [](state& c) { c.view.add_exposure(25); }},
    {"view_exposure_down", "show the picture a quarter of a stop darker", "Shift+E", "mi_view", 101,
     [](state& c) { c.view.add_exposure(-25); }},
    {"view_gamma_up", "show the picture with darker midtones", "H", "mi_view", 102,
     [](state& c) { c.view.add_gamma(5); }},
    {"view_gamma_down", "show the picture with brighter midtones", "Shift+H", "mi_view", 103,
     [](state& c) { c.view.add_gamma(-5); }},
    {"view_neutral", "show the picture without exposure, gamma and other corrections of the view", "N", "mi_view", 104,
     [](state& c) { c.view.make_neutral(); }, [](const state& c) { return !c.view.is_neutral(); }},
    {"channel_r", "show the red channel alone, or all channels again", "R", "mi_view", 70,
     show_channel<view_type::r_grayscale>, nullptr, channel_lit<channel_type::red>},
    {"channel_g", "show the green channel alone, or all channels again", "G", "mi_view", 71,
     show_channel<view_type::g_grayscale>, nullptr, channel_lit<channel_type::green>},
    {"channel_b", "show the blue channel alone, or all channels again", "B", "mi_view", 72,
     show_channel<view_type::b_grayscale>, nullptr, channel_lit<channel_type::blue>},
    {"channel_a", "show the alpha channel alone, or the colours again", "A", "mi_view", 73,
     show_channel<view_type::alpha>, nullptr, channel_lit<channel_type::alpha>},
    {"channel_l", "show the luminance alone, or the colours again", "Y", "mi_view", 74, show_channel<view_type::luma>,
     nullptr, channel_lit<channel_type::luma>},
    {"channel_z", "show the depth channel alone, or the colours again", "Z", "mi_view", 75,
     show_channel<view_type::depth>, nullptr, channel_lit<channel_type::depth>},
    {"channel_r_mode", "switch red to the next way of showing it: grey, colour, hidden", "Shift+R", "mi_view", 80,
     step_channel<channel_type::red>},
    {"channel_g_mode", "switch green to the next way of showing it: grey, colour, hidden", "Shift+G", "mi_view", 81,
     step_channel<channel_type::green>},
    {"channel_b_mode", "switch blue to the next way of showing it: grey, colour, hidden", "Shift+B", "mi_view", 82,
     step_channel<channel_type::blue>},
    {"toggle_timeline", "show or hide the timeline", "T", "mi_view", 20, flip_shown<&ksn::workspace::shown_timeline>,
     nullptr, is_shown<&ksn::workspace::shown_timeline>},
    {"toggle_layer_stack", "show or hide the layer stack", "S", "mi_view", 21,
     [](state& c) { c.workspace.toggle_layer_stack(c.doc.track_count()); }, nullptr,
     [](const state& c) { return c.workspace.track_max > 0; }},
    {"toggle_infobar", "show or hide the information bar", "Ctrl+I", "mi_view", 22,
     flip_shown<&ksn::workspace::shown_infobar>, nullptr, is_shown<&ksn::workspace::shown_infobar>},
    {"toggle_property_panel", "show or hide the property panel", "Tab", "mi_view", 23,
     flip_shown<&ksn::workspace::shown_property_panel>, nullptr, is_shown<&ksn::workspace::shown_property_panel>},
    {"toggle_pv_tooltip", "show or hide the pixel values at the pointer", "", "mi_view", 24,
     flip_shown<&ksn::workspace::shown_tooltip>, nullptr, is_shown<&ksn::workspace::shown_tooltip>},
    {"toggle_mask", "show or hide the output mask and the safe area", "M", "mi_view", 30,
     [](state& c) { c.view.toggle_mask(); }, nullptr, is_on<FIELD(view.safe_area_active)>},
    {"toggle_grid", "show or hide the grid", "Ctrl+G", "mi_view", 31, flip<FIELD(view.grid)>, nullptr,
     is_on<FIELD(view.grid)>},
    {"toggle_vsync", "wait for the vertical blank of the display, or not", "", "mi_view", 32,
     flip<FIELD(settings.vsync)>, nullptr, is_on<FIELD(settings.vsync)>},
    {"toggle_spb_enabled", "show transport buttons over the picture while the timeline is hidden, or not", "",
     "mi_view", 60, flip<FIELD(settings.spb_enabled)>, nullptr, is_on<FIELD(settings.spb_enabled)>},
    {"switch_stereo_views", "exchange the left and the right stereo view", "X", "", 0, flip<FIELD(view.switch_views)>,
     nullptr, is_on<FIELD(view.switch_views)>},
    {"pp_next_tab", "open the next tab of the property panel", "Ctrl+Tab", "", 0,
     [](state& c) { c.workspace.step_property_tab(1); }},
    {"pp_prev_tab", "open the previous tab of the property panel", "Ctrl+Shift+Tab", "", 0,
     [](state& c) { c.workspace.step_property_tab(-1); }},
};

constexpr document_row placement_rows[] = {
    {"reset_layer_position", "move the selected layer to the centre of the composition", "Shift+Home", "mi_layer_move",
     0, ksn::reset_layer_position, one},
    {"layer_half_width_left", "move the selected layer left by half its width", "", "mi_layer_move", 10,
     move_by_half<-1, 0>, one},
    {"layer_half_width_right", "move the selected layer right by half its width", "", "mi_layer_move", 11,
     move_by_half<1, 0>, one},
    {"layer_half_height_up", "move the selected layer up by half its height", "", "mi_layer_move", 12,
     move_by_half<0, -1>, one},
    {"layer_half_height_down", "move the selected layer down by half its height", "", "mi_layer_move", 13,
     move_by_half<0, 1>, one},
    {"layer_move_left", "move the selected layers one pixel left", "Ctrl+Left", "mi_layer_move", 20, move_layers<-1, 0>,
     some},
    {"layer_move_right", "move the selected layers one pixel right", "Ctrl+Right", "mi_layer_move", 21,
     move_layers<1, 0>, some},
    {"layer_move_up", "move the selected layers one pixel up", "Ctrl+Up", "mi_layer_move", 22, move_layers<0, -1>,
     some},
    {"layer_move_down", "move the selected layers one pixel down", "Ctrl+Down", "mi_layer_move", 23, move_layers<0, 1>,
     some},
    {"layer_move_selected_up", "raise the selected layer one place in the stack", "Shift+PageUp", "mi_layer", 20,
     ksn::layer_move_selected_up, one},
    {"layer_move_selected_down", "lower the selected layer one place in the stack", "Shift+PageDown", "mi_layer", 21,
     ksn::layer_move_selected_down, one},
    {"layer_flip_x", "mirror the selected layers left to right, or undo that", "", "", 0,
     flip_layers<FIELD(placement.flip_x)>, some, layers_on<FIELD(placement.flip_x)>},
    {"layer_flip_y", "mirror the selected layers top to bottom, or undo that", "", "", 0,
     flip_layers<FIELD(placement.flip_y)>, some, layers_on<FIELD(placement.flip_y)>},
    {"layer_resize_to_mask", "give the selected adjustment and text layers the size of the output", "", "", 0,
     ksn::layer_resize_to_mask, some},
};

constexpr document_row layer_rows[] = {
    {"layer_duplicate", "copy each selected layer to the place below it", "Ctrl+D", "mi_layer", 30,
     ksn::layer_duplicate, some},
    {"expand_into_layers", "make a layer of each picture in the selected layer's file", "", "mi_layer", 32,
     ksn::expand_into_layers, ksn::can_expand_into_layers},
    {"add_other_stereo_view", "add the file of the other eye as a layer", "", "mi_layer", 33,
     [](state& c) { ksn::add_other_stereo_view(c); }, one},
    {"embed_layer", "keep the selected layer's picture inside the composition", "", "mi_layer", 50, ksn::embed_layer,
     ksn::can_embed_layer},
    {"layer_toggle_visible", "show or hide the selected layers", "V", "", 0, flip_layers<FIELD(look.visible)>, some,
     layers_on<FIELD(look.visible)>},
    {"layer_toggle_crop", "crop the selected layers, or show them whole", "C", "", 0,
     flip_layers<FIELD(placement.crop)>, some, layers_on<FIELD(placement.crop)>},
    {"layer_toggle_difference", "blend the selected layers as a difference, or normally again", "D", "", 0,
     ksn::layer_toggle_difference, some, ksn::difference_in_selection},
    {"layer_toggle_disable_cc", "switch the colour correction of the selected layers off or on", "", "", 0,
     ksn::layer_toggle_disable_cc, some, ksn::disable_cc_in_selection},
    {"layer_update_frame", "read the current frame of the selected layers again", "", "mi_layer_reload", 0,
     ksn::layer_update_frame, some},
    {"layer_update_modified", "read the frames of the selected layers that changed on disk again", "F5",
     "mi_layer_reload", 1, ksn::layer_update_modified, some},
    {"layer_toggle_autoupdate", "read the frames of the selected layers again whenever their files change, or not", "",
     "mi_layer_reload", 2, flip_layers<FIELD(source.auto_update)>, some, layers_on<FIELD(source.auto_update)>},
    {"layer_rescan_sequence", "look for new frames of the selected sequence", "F6", "mi_layer_reload", 10,
     ksn::layer_rescan_sequence, ksn::can_rescan_selected},
    {"layer_watch_sequence", "look for new frames of the selected sequence whenever its folder changes, or not", "",
     "mi_layer_reload", 11, ksn::layer_watch_sequence, ksn::can_watch_selected, ksn::watches_selected},
    {"layer_preload_into_cache", "load the frames of the selected layer into memory", "P", "mi_layer_cache", 0,
     ksn::layer_preload_into_cache, one},
    {"layer_remove_from_cache", "drop the frames of the selected layers from memory", "", "mi_layer_cache", 1,
     ksn::layer_remove_from_cache, some},
    {"layer_toggle_disablecache", "do not keep frames of the selected layers in memory, or keep them again", "",
     "mi_layer_cache", 2, flip_layers<FIELD(source.disable_cache)>, some, layers_on<FIELD(source.disable_cache)>},
    {"layer_replace_with_previous", "replace the selected layer's source by the previous file of its folder", "",
     "mi_layer", 61, ksn::layer_replace_with_previous, ksn::can_replace_with_neighbour},
    {"layer_replace_with_next", "replace the selected layer's source by the next file of its folder", "", "mi_layer",
     62, ksn::layer_replace_with_next, ksn::can_replace_with_neighbour},
    {"layer_next_version", "switch the selected layer to the next version of its source", "Ctrl+PageDown", "", 0,
     ksn::layer_next_version, ksn::can_change_version},
    {"layer_previous_version", "switch the selected layer to the previous version of its source", "Ctrl+PageUp", "", 0,
     ksn::layer_previous_version, ksn::can_change_version},
    {"update_all_layers", "read the frames of all layers that changed on disk again", "Shift+F5", "mi_edit", 130,
     ksn::update_all_layers, any},
    {"preload_all_layers", "load the frames of all layers into memory", "Ctrl+P", "mi_edit", 141,
     ksn::preload_all_layers, any},
    {"toggle_disable_caching_by_default", "do not keep frames of new layers in memory, or keep them again", "",
     "mi_edit", 132, flip<FIELD(settings.disable_caching_by_default)>, nullptr,
     is_on<FIELD(settings.disable_caching_by_default)>},
    {"toggle_automatic_preload", "load the frames of new layers into memory by itself, or not", "", "mi_edit", 140,
     flip<FIELD(settings.automatic_preload)>, nullptr, is_on<FIELD(settings.automatic_preload)>},
};

bool has_canvas_selected(const state& c) {
  return one(c) && ksn::has_canvas(c.doc.track_at(c.doc.selected_index()));
}

constexpr document_row clear_canvas_row[] = {
    {"clear_canvas", "empty the canvas of the selected brush layer at the current frame", "", "mi_edit", 100,
     ksn::clear_canvas, has_canvas_selected},
};

constexpr document_row new_composition_row[] = {
    {"new_composition", "start a new composition; the present one is kept among the unsaved ones", "Ctrl+N", "mi_file",
     20, [](state& c) { c.new_composition(true); }},
};

action bound(engine& engine, action_group group, const document_row& row) {
  state& composition = engine.composition();
  action entry;
  entry.group = group;
  entry.name = row.name;
  entry.help = row.help;
  entry.keys = row.keys;
  entry.menu = {row.menu, row.position};
  entry.execute = [&composition, row] {
    row.run(composition);
    ksn::check_invariants(composition, row.name);
  };
  if (row.enabled) entry.enabled = [&composition, row] { return row.enabled(composition); };
  if (row.checked) entry.checked = [&composition, row] { return row.checked(composition); };
  return entry;
}

constexpr int most_new_frames = 100000000;

// Layers that are made inside, for one frame or for a number of frames. Any other text is refused.
struct new_layer_row {
  document_row row;
  const char* what;  // for the help of the value form
  void (state::*make)(int frames);
};

constexpr new_layer_row new_layer_rows[] = {
    {{"new_adjustment_layer", "add an adjustment layer, which corrects the colours of all layers below it", "",
      "mi_edit", 90, [](state& c) { c.new_adjustment_layer(); }},
     "an adjustment layer",
     &state::new_adjustment_layer},
    {{"new_brush_layer", "add a brush layer, a canvas to paint on", "", "mi_edit", 91,
      [](state& c) { c.new_brush_layer(); }},
     "a brush layer",
     &state::new_brush_layer},
    {{"new_brush_sequence_layer", "add a brush sequence layer, with a canvas for each frame", "", "mi_edit", 92,
      [](state& c) { c.new_brush_sequence_layer(); }},
     "a brush sequence layer",
     &state::new_brush_sequence_layer},
    {{"new_text_layer", "add a text layer", "", "mi_edit", 93, [](state& c) { c.new_text_layer(); }},
     "a text layer",
     &state::new_text_layer},
};

action bound(engine& engine, const new_layer_row& row) {
  state& composition = engine.composition();
  action entry = bound(engine, action_group::new_layers, row.row);
  // Who looks at a shot wants to see it at the frame that is shown, and not at the first one alone.
  entry.execute = [&composition, make_one = entry.execute] {
    make_one();
    if (composition.has_window && composition.doc.track_count() > 1) ksn::layer_resize_to_timeline(composition);
  };
  entry.value_form = "FRAMES";
  entry.value_help = std::string("add ") + row.what + " of that many frames";
  entry.execute_value = [&composition, make = row.make](const std::string& value) {
    int frames = 0;
    if (!read_int(value, frames, 1, most_new_frames)) return false;
    (composition.*make)(frames);
    return true;
  };
  return entry;
}

action video_row(state& composition) {
  action entry;
  entry.group = action_group::new_layers;
  entry.name = "new_video_layer";
  entry.help = "add a layer that shows the first video input";
  entry.value_form = "DEVICE";
  entry.value_help = "add a layer that shows the video input of that name";
  entry.menu = {"mi_edit", 94};
  entry.execute = [&composition] { composition.new_video_layer(); };
  entry.execute_value = [&composition](const std::string& device) {
    composition.new_video_layer(device);
    return true;
  };
  entry.list = [] {
    std::vector<list_item> items;
    for (const std::string& name : sources::list_inputs()) items.push_back({name, name});
    return items;
  };
  entry.empty_list = "no_video_input_devices";
  return entry;
}

action undo_row(state& composition) {
  action row;
  row.group = action_group::edit;
  row.name = "undo";
  row.help = "undo the last step; once more, redo it";
  row.keys = "Ctrl+Z";
  row.menu = {"mi_edit", 10};
  row.execute = [&composition] {
    composition.undo();
    ksn::check_invariants(composition, "undo");
  };
  row.enabled = [&composition] { return composition.can_undo(); };
  row.title = [&composition] {
    return composition.catalogue_text(composition.can_undo() ? composition.undo_stack->text_key() : "undo");
  };
  return row;
}

action replace_row(engine& engine) {
  state& composition = engine.composition();
  action row;
  row.group = action_group::layer_state;
  row.name = "layer_replace_with";
  row.help = "replace the selected layer's source by a file that you choose";
  row.value_form = "PATH";
  row.value_help = "replace the selected layer's source";
  row.menu = {"mi_layer", 60};
  row.enabled = [&composition] { return one(composition); };
  row.ask = {"layer_replace_with_title", "", "any_file_filter"};
  row.execute_value = [&engine, &composition](const std::string& path) {
    if (path.empty()) return false;
    if (one(composition)) {
      const std::string source = source_path(path);
      if (!ksn::layer_replace_with(composition, source)) engine.failed_inputs.push_back(source);
    } else {
      engine.report(about(engine.current_option(), option_needs_layer));
    }
    return true;
  };
  return row;
}

// The mouse's work in the stack and at the start of the ruler, with a number.
struct numbered_row {
  action_group group;
  const char* name;
  const char* value_form;
  const char* help;
  int least;
  void (*run)(state&, int);
};

constexpr numbered_row numbered_rows[] = {
    {action_group::work_area, "timeline_cut_begin", "FRAMES",
     "cut so many frames off the start of the timeline; a number below 0 adds frames there", -ksn::frame_limit,
     [](state& c, int frames) { c.doc.cut_timeline_begin(frames); }},
    {action_group::placement, "layer_move_selected_to", "PLACE",
     "move the selected layer to that place in the stack, 1 is the top", 1,
     [](state& c, int place) {
       if (one(c)) ksn::move_layer(c, c.doc.selected_index(), place - 1);
     }},
};

action bound(engine& engine, const numbered_row& row) {
  state& composition = engine.composition();
  return {.group = row.group,
          .name = row.name,
          .value_form = row.value_form,
          .value_help = row.help,
          .execute_value = [&composition, row](const std::string& value) {
            int number = 0;
            if (!read_int(value, number, row.least, ksn::frame_limit)) return false;
            row.run(composition, number);
            return true;
          }};
}

}  // namespace

void register_document_actions(engine& engine) {
  const auto add = [&](action_group group, const auto& rows) {
    for (const document_row& row : rows) engine.add(bound(engine, group, row));
  };
  add(action_group::file, new_composition_row);
  add(action_group::selection, selection_rows);
  add(action_group::transport, transport_rows);
  add(action_group::work_area, work_area_rows);
  add(action_group::layer_time, layer_time_rows);
  add(action_group::view, view_rows);
  add(action_group::placement, placement_rows);
  engine.add(replace_row(engine));
  add(action_group::layer_state, layer_rows);
  for (const numbered_row& row : numbered_rows) engine.add(bound(engine, row));
  for (const new_layer_row& row : new_layer_rows) engine.add(bound(engine, row));
  engine.add(undo_row(engine.composition()));
  engine.add(video_row(engine.composition()));
  add(action_group::edit, clear_canvas_row);
}

}  // namespace command
