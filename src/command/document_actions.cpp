// The document's own actions: what each runs, when it is enabled, and what its check mark shows. Their one-line
// descriptions stand with their names in action_names.cpp.
#include "command/engine.h"
#include "command/messages.h"
#include "command/values.h"
#include "composition/canvas.h"
#include "composition/invariants.h"
#include "composition/layer_cache.h"
#include "composition/layer_placement.h"
#include "composition/layer_stack.h"
#include "composition/layer_state.h"
#include "composition/layer_time.h"
#include "composition/replace.h"
#include "composition/selection.h"
#include "composition/stereo_pair.h"
#include "composition/transport.h"
#include "composition/undo.h"
#include "composition/versions.h"
#include "composition/watching.h"

namespace command {

namespace {

using ksn::channel_type;
using ksn::state;
using ksn::track_info;
using ksn::view_type;

using operation = void (*)(state&);
using question = bool (*)(const state&);

struct action_row {
  const char* name;
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

constexpr action_row selection_rows[] = {
    {"layer_delete_selected", ksn::layer_delete_selected, some},
    {"layer_delete_all", [](state& c) { c.layer_delete_all(); }, any},
    {"layer_select_up", ksn::layer_select_up, any},
    {"layer_select_down", ksn::layer_select_down, any},
    {"layer_select_first", ksn::layer_select_first, any},
    {"layer_select_last", ksn::layer_select_last, any},
    {"layer_select_none", ksn::layer_select_none, any},
    {"layer_select_all", ksn::layer_select_all, any},
    {"layer_select_group", ksn::layer_select_group, ksn::can_select_group},
    {"layer_assign_group", ksn::layer_assign_group, ksn::can_assign_group},
};

constexpr action_row time_rows[] = {
    {"first_frame", ksn::first_frame},
    {"next_frame", ksn::next_frame},
    {"prev_frame", ksn::prev_frame},
    {"last_frame", ksn::last_frame},
    {"toggle_repeat", [](state& c) { c.doc.toggle_repeat(); }},
    {"increase_fps", [](state& c) { c.doc.increase_fps(); }},
    {"decrease_fps", [](state& c) { c.doc.decrease_fps(); }},

    {"workarea_set_begin", [](state& c) { c.doc.set_workarea_begin(static_cast<int>(c.doc.tm_t)); }},
    {"workarea_set_end", [](state& c) { c.doc.set_workarea_end(static_cast<int>(c.doc.tm_t)); }},
    {"workarea_set_to_selection", ksn::workarea_set_to_selection, some},
    {"timeline_fit_all_layers", [](state& c) { c.doc.timeline_fit_all_layers(); }},
    {"timeline_trim_to_workarea", [](state& c) { c.doc.timeline_trim_to_workarea(); }},

    {"layer_go_to_begin", ksn::layer_go_to_begin, one},
    {"layer_go_to_end", ksn::layer_go_to_end, one},
    {"layer_go_to_in", ksn::layer_go_to_in, one},
    {"layer_go_to_out", ksn::layer_go_to_out, one},
    {"layer_align_begin", ksn::layer_align_begin, some},
    {"layer_align_end", ksn::layer_align_end, some},
    {"layer_align_in", ksn::layer_align_in, some},
    {"layer_align_out", ksn::layer_align_out, some},
    {"layer_shift_left", ksn::layer_shift_left, one},
    {"layer_shift_right", ksn::layer_shift_right, one},
    {"layer_set_in_at_current", ksn::layer_set_in_at_current, one},
    {"layer_set_out_at_current", ksn::layer_set_out_at_current, one},
    {"layer_position_after", ksn::layer_position_after, some},
    {"layer_resize_to_timeline", ksn::layer_resize_to_timeline, ksn::can_resize_in_time},
    {"layer_resize_to_workarea", ksn::layer_resize_to_workarea, ksn::can_resize_in_time},
    {"layer_duplicate_and_split", ksn::layer_duplicate_and_split,
     [](const state& c) { return !ksn::layers_to_split(c).empty(); }},
};

constexpr action_row view_rows[] = {
    {"increase_zoom_factor", [](state& c) { c.view.increase_zoom_factor(); }},
    {"decrease_zoom_factor", [](state& c) { c.view.decrease_zoom_factor(); }},
    {"reset_zoom_factor", [](state& c) { c.view.zoom_factor2 = 100; }},
    {"reset_pan_position", [](state& c) { c.view.pan_position = {}; }},
    {"reset_pan_and_zoom",
     [](state& c) {
       c.view.pan_position = {};
       c.view.zoom_factor2 = 100;
     }},
    {"channel_r", show_channel<view_type::r_grayscale>, nullptr, channel_lit<channel_type::red>},
    {"channel_g", show_channel<view_type::g_grayscale>, nullptr, channel_lit<channel_type::green>},
    {"channel_b", show_channel<view_type::b_grayscale>, nullptr, channel_lit<channel_type::blue>},
    {"channel_a", show_channel<view_type::alpha>, nullptr, channel_lit<channel_type::alpha>},
    {"channel_l", show_channel<view_type::luma>, nullptr, channel_lit<channel_type::luma>},
    {"channel_z", show_channel<view_type::depth>, nullptr, channel_lit<channel_type::depth>},
    {"channel_r_mode", step_channel<channel_type::red>},
    {"channel_g_mode", step_channel<channel_type::green>},
    {"channel_b_mode", step_channel<channel_type::blue>},
    {"toggle_timeline", flip_shown<&ksn::workspace::shown_timeline>, nullptr,
     is_shown<&ksn::workspace::shown_timeline>},
    {"toggle_layer_stack", [](state& c) { c.workspace.toggle_layer_stack(c.doc.track_count()); }, nullptr,
     [](const state& c) { return c.workspace.track_max > 0; }},
    {"toggle_infobar", flip_shown<&ksn::workspace::shown_infobar>, nullptr, is_shown<&ksn::workspace::shown_infobar>},
    {"toggle_property_panel", flip_shown<&ksn::workspace::shown_property_panel>, nullptr,
     is_shown<&ksn::workspace::shown_property_panel>},
    {"toggle_pv_tooltip", flip_shown<&ksn::workspace::shown_tooltip>, nullptr,
     is_shown<&ksn::workspace::shown_tooltip>},
    {"toggle_mask", [](state& c) { c.view.toggle_mask(); }, nullptr, is_on<FIELD(view.safe_area_active)>},
    {"toggle_grid", flip<FIELD(view.grid)>, nullptr, is_on<FIELD(view.grid)>},
    {"toggle_vsync", flip<FIELD(settings.vsync)>, nullptr, is_on<FIELD(settings.vsync)>},
    {"toggle_spb_enabled", flip<FIELD(settings.spb_enabled)>, nullptr, is_on<FIELD(settings.spb_enabled)>},
    {"toggle_automatic_preload", flip<FIELD(settings.automatic_preload)>, nullptr,
     is_on<FIELD(settings.automatic_preload)>},
    {"toggle_disable_caching_by_default", flip<FIELD(settings.disable_caching_by_default)>, nullptr,
     is_on<FIELD(settings.disable_caching_by_default)>},
    {"toggle_continue_playback_after_drag", flip<FIELD(settings.continue_playback_after_drag)>, nullptr,
     is_on<FIELD(settings.continue_playback_after_drag)>},
    {"switch_stereo_views", flip<FIELD(view.switch_views)>, nullptr, is_on<FIELD(view.switch_views)>},
    {"pp_next_tab", [](state& c) { c.workspace.step_property_tab(1); }},
    {"pp_prev_tab", [](state& c) { c.workspace.step_property_tab(-1); }},
};

constexpr action_row placement_rows[] = {
    {"reset_layer_position", ksn::reset_layer_position, one},
    {"layer_move_left", move_layers<-1, 0>, some},
    {"layer_move_right", move_layers<1, 0>, some},
    {"layer_move_up", move_layers<0, -1>, some},
    {"layer_move_down", move_layers<0, 1>, some},
    {"layer_move_selected_up", ksn::layer_move_selected_up, one},
    {"layer_move_selected_down", ksn::layer_move_selected_down, one},
    {"layer_half_width_left", move_by_half<-1, 0>, one},
    {"layer_half_width_right", move_by_half<1, 0>, one},
    {"layer_half_height_up", move_by_half<0, -1>, one},
    {"layer_half_height_down", move_by_half<0, 1>, one},
    {"layer_flip_x", flip_layers<FIELD(placement.flip_x)>, some, layers_on<FIELD(placement.flip_x)>},
    {"layer_flip_y", flip_layers<FIELD(placement.flip_y)>, some, layers_on<FIELD(placement.flip_y)>},
    {"layer_resize_to_mask", ksn::layer_resize_to_mask, some},
};

constexpr action_row layer_rows[] = {
    {"layer_duplicate", ksn::layer_duplicate, some},
    {"layer_update_frame", ksn::layer_update_frame, some},
    {"layer_update_modified", ksn::layer_update_modified, some},
    {"layer_remove_from_cache", ksn::layer_remove_from_cache, some},
    {"layer_preload_into_cache", ksn::layer_preload_into_cache, one},
    {"layer_toggle_disablecache", flip_layers<FIELD(source.disable_cache)>, some,
     layers_on<FIELD(source.disable_cache)>},
    {"layer_toggle_autoupdate", flip_layers<FIELD(source.auto_update)>, some, layers_on<FIELD(source.auto_update)>},
    {"layer_toggle_visible", flip_layers<FIELD(look.visible)>, some, layers_on<FIELD(look.visible)>},
    {"layer_toggle_disable_cc", ksn::layer_toggle_disable_cc, some, ksn::disable_cc_in_selection},
    {"layer_toggle_crop", flip_layers<FIELD(placement.crop)>, some, layers_on<FIELD(placement.crop)>},
    {"layer_toggle_difference", ksn::layer_toggle_difference, some, ksn::difference_in_selection},
    {"layer_rescan_sequence", ksn::layer_rescan_sequence, ksn::can_rescan_selected},
    {"layer_watch_sequence", ksn::layer_watch_sequence, ksn::can_watch_selected, ksn::watches_selected},
    {"layer_next_version", ksn::layer_next_version, ksn::can_change_version},
    {"layer_previous_version", ksn::layer_previous_version, ksn::can_change_version},
    {"layer_replace_with_previous", ksn::layer_replace_with_previous, ksn::can_replace_with_neighbour},
    {"layer_replace_with_next", ksn::layer_replace_with_next, ksn::can_replace_with_neighbour},
    {"update_all_layers", ksn::update_all_layers, any},
    {"preload_all_layers", ksn::preload_all_layers, any},
    {"expand_into_layers", ksn::expand_into_layers, ksn::can_expand_into_layers},
    {"add_other_stereo_view", [](state& c) { ksn::add_other_stereo_view(c); }, one},
    {"embed_layer", ksn::embed_layer, ksn::can_embed_layer},
};

bool has_canvas_selected(const state& c) {
  return one(c) && ksn::has_canvas(c.doc.track_at(c.doc.selected_index()));
}

constexpr action_row other_rows[] = {
    {"new_composition", [](state& c) { c.new_composition(true); }},
    {"new_adjustment_layer", [](state& c) { c.new_adjustment_layer(); }},
    {"new_brush_layer", [](state& c) { c.new_brush_layer(); }},
    {"new_brush_sequence_layer", [](state& c) { c.new_brush_sequence_layer(); }},
    {"new_text_layer", [](state& c) { c.new_text_layer(); }},
    {"undo", [](state& c) { c.undo(); }, [](const state& c) { return c.can_undo(); }},
    {"clear_canvas", ksn::clear_canvas, has_canvas_selected},
};

template <std::size_t Count>
void register_rows(engine& engine, const action_row (&rows)[Count]) {
  state& composition = engine.composition();
  for (const action_row& row : rows) {
    action& entry = engine.action_table[row.name];
    entry.execute = [&composition, row] {
      row.run(composition);
      ksn::check_invariants(composition, row.name);
    };
    if (row.enabled) entry.enabled = [&composition, row] { return row.enabled(composition); };
    if (row.checked) entry.checked = [&composition, row] { return row.checked(composition); };
  }
}

// An action that takes a number of frames. Any other text is refused.
void register_new_layer(engine& engine, const char* name, void (state::*make)(int frames)) {
  state& composition = engine.composition();
  engine.value_action_table[name].execute = [&composition, make](const std::string& value) {
    int frames = 0;
    if (!read_int(value, frames, 1, most_frames)) return false;
    (composition.*make)(frames);
    return true;
  };
}

}  // namespace

void register_document_actions(engine& engine) {
  register_rows(engine, selection_rows);
  register_rows(engine, time_rows);
  register_rows(engine, view_rows);
  register_rows(engine, placement_rows);
  register_rows(engine, layer_rows);
  register_rows(engine, other_rows);
  engine.action_table["undo"].title = [&composition = engine.composition()] {
    return composition.catalogue_text(composition.can_undo() ? composition.undo_stack->text_key() : "undo");
  };
  register_new_layer(engine, "new_adjustment_layer", &state::new_adjustment_layer);
  register_new_layer(engine, "new_brush_layer", &state::new_brush_layer);
  register_new_layer(engine, "new_brush_sequence_layer", &state::new_brush_sequence_layer);
  register_new_layer(engine, "new_text_layer", &state::new_text_layer);
  engine.value_action_table["layer_replace_with"].execute = [&engine](const std::string& path) {
    if (path.empty()) return false;
    if (one(engine.composition())) {
      const std::string source = source_path(path);
      if (!ksn::layer_replace_with(engine.composition(), source)) engine.failed_inputs.push_back(source);
    } else {
      engine.report(about(engine.current_option(), option_needs_layer));
    }
    return true;
  };
}

}  // namespace command
