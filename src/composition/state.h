// The document: an ordered stack of layers, a selection, a timeline and the way it is shown.
#pragma once

#include <ctime>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "composition/track_info.h"

namespace platform {
class folder_watcher;
}

namespace ksn {

class state;
class undo_action;

// What a composition file stores and a new document starts from.
struct composition_view {
  view_type view = view_type::rgb;
  back_color_type back_color = back_color_type::black;
  lib::color back_custom_color{255, 54, 58, 69};
  back_color_type default_back_color = back_color_type::black;
  lib::color default_back_custom_color{255, 54, 58, 69};
  bool safe_area_active = false;
  safe_area_type_t safe_area_type = safe_area_type_t::blue;
  mask_type_t mask_type = mask_type_t::transparent;
  math::point mask_size{720, 576};  // width, height
  bool grid = false;
  counter_type_t counter_type = counter_type_t::frame;
  bool playing = false;
  bool forward = true;
  repeat_type repeat = repeat_type::loop;
  int fpcs = 2500;  // timeline rate in hundredths of a frame per second
  int default_cfps = 2500;
  bool can_drop_frames = false;
  int tm_n = 250;          // timeline length in frames, at least 10
  int tm_f = 0;            // first frame of the work area
  int tm_l = 250;          // end of the work area, not part of it
  double tm_t = 0.0;       // current time in timeline frames
  int zoom_factor2 = 100;  // percent
  math::pointd pan_position;
  std::deque<track_info> tracks;  // index 0 is the top of the stack, where layers enter
  std::set<int> selection;        // indices into tracks
  int track_max = 0;
  int prev_track_max = 0;
  ksn::alpha_type default_alpha_type = ksn::alpha_type::mask;
  std::map<std::pair<int, int>, double> default_aspect;  // pixel aspect by picture size
  bool pp_visible = false;
  math::pointd pp_pos{1.0, 1.0};
  int pp_tab = 0;  // color, placement, blending, brush, text, effects, source, r3d
  bool vsync = false;
  int frame_base = 0;  // number of the first frame as shown, 0 or 1
  int default_frame_base = 0;
  int ext_device = 1;
  ext_alpha_type ext_alpha = ext_alpha_type::none;
  bool infobar_visible = true;
  int volume = 100;
  bool aspect_enabled = false;
  double aspect = 1.0666667;  // view pixel aspect
  cache_resolution_type resolution = cache_resolution_type::full;
  int brush_size = 2;
  int brush_softness = 0;
  int brush_spacing = 5;
  lib::color brush_color{255, 255, 255, 255};
  int vsync_parameter = 1;  // throttle of the main loop; 0 does not wait in the foreground
  int vsync_mode = 1;       // which of the three vsync present modes
  bool spb_enabled = false;
  bool automatic_preload = false;
  bool timeline_visible = true;
  bool pv_tooltip_enabled = true;
  bool fs_timeline_visible = false;
  bool fs_infobar_visible = true;
  bool fs_pp_visible = false;
  math::pointd fs_pp_pos{1.0, 1.0};
  bool fs_pv_tooltip_enabled = false;
  bool mask_transforms_enabled = false;
  std::map<std::string, img::lookup_table> lookup_table_map;  // by file name
  text_attributes default_text_attr;
  target_view_type target_view = target_view_type::left;
  stereo_view_type stereo_view = stereo_view_type::anaglyph;
  bool switch_views = false;
  bool timeline_user_set = false;  // tm_n was set by hand on a composition without layers
  bool continue_playback_after_drag = false;
  bool disable_caching_by_default = false;
  int creation_timestamp = static_cast<int>(std::time(nullptr));
  std::map<std::string, std::string> vars;  // user variables of the command language
  img::correction tf;                       // colour correction of the view
};

// What the document asks of the floors above it. Every function may be empty; the owner of the document binds them,
// and a test binds its own.
struct state_hooks {
  // One error line without its line feed, as it stands.
  std::function<void(const std::string& line)> report_error;
  std::function<void(const track_info& track)> request_preload;
  std::function<void(const track_info& track)> cancel_preload;
  std::function<void()> stop_preload;
  std::function<void()> start_audio;
  // Pictures of a file, or of all files directly in a folder, leave the frame cache.
  std::function<void(const std::string& path)> drop_path;
  std::function<void(const std::string& folder)> drop_folder;
  // The picture of a file leaves the cache when the file is newer; the same for all files directly in a folder.
  std::function<void(const std::string& path)> drop_changed;
  std::function<void(const std::string& folder)> drop_changed_in;
  std::function<void()> clear_cache;
  // A layer's picture changed or the layer goes away: what is kept for it outside the document is dropped.
  std::function<void(int layer_id)> forget_layer;
  std::function<void()> refresh_caption;
  // The current document joins the unsaved items, under its name or as unnamed.
  std::function<void()> file_among_unsaved;
  // The user's text for a key of the message catalogue.
  std::function<std::string(std::string_view key)> text;
};

// The one document of a process.
class state : public composition_view {
 public:
  state_hooks hooks;
  std::string file_name;  // of the composition, empty before a first save

  // --- layers ---
  int track_count() const { return static_cast<int>(tracks.size()); }
  // The index must be that of a layer.
  track_info& track_at(int index) { return tracks[static_cast<std::size_t>(index)]; }
  const track_info& track_at(int index) const { return tracks[static_cast<std::size_t>(index)]; }
  // The index of the only selected layer; otherwise track_count().
  int selected_index() const;
  // The only selected layer; null when there is none or more than one. Valid until the next change of the stack.
  track_info* selected_track();
  const track_info* selected_track() const;
  bool has_selection() const { return !selection.empty(); }
  // Index of the layer with this id, -1 when there is none.
  int index_of_id(int id) const;

  // --- timeline ---
  // In hundredths of a frame per second, at least 1.
  void set_frame_rate(int new_fpcs);
  // Makes the timeline at least that long for a layer; the length then counts as computed.
  void extend_timeline_to(int layer_end);
  // Stores at least 10 frames; with `forced` false on a composition without layers the length counts as set by hand.
  void set_timeline_length(int n, bool forced);
  // The work area keeps at least one frame: where the other end is in the way, it moves.
  void set_workarea_begin(int n);
  void set_workarea_end(int n);
  // Stops the clock and clamps to 0 and the timeline length.
  void set_current_time(double t);
  void timeline_fit_all_layers();
  void timeline_trim_to_workarea();
  void increase_fps();
  void decrease_fps();
  void toggle_repeat();

  // --- view ---
  // Factor of a picture's width on the screen.
  double zoom() const;
  double view_pixel_aspect() const { return aspect_enabled ? aspect : 1.0; }
  // Values below 1 switch the view aspect off and keep the former value.
  void set_view_aspect(double value);
  double default_aspect_for(int width, int height) const;
  // The colour of `back_color`; alpha is 255.
  lib::color resolved_back_color() const;
  // Finds the named colour with these red, green and blue, else stores the custom colour.
  void set_back_color(lib::color color);

  void increase_zoom_factor();
  void decrease_zoom_factor();
  // Shows the channel alone, or all of them when it is shown alone.
  void toggle_channel(view_type channel);
  // The next of a colour's ways: as grey, in colour, hidden.
  void step_channel_mode(channel_type channel);
  // Whether the button of a channel is lit.
  bool channel_lit(channel_type channel) const;
  // Shows or hides the mask and the safe area; makes them visible kinds when both are none.
  void toggle_mask();
  // Hides the layer stack, or shows as much of it as before.
  void toggle_layer_stack();
  // To the tab behind or in front, from the last to the first.
  void step_property_tab(int direction);

  // --- ways into the stack; those that can fail return false after an error line ---
  // Opens `path` into a fresh record: a folder, a picture or its sequence, a movie, a sound.
  bool route_source(track_info& record, const std::string& path, bool single_image, ksn::alpha_type default_alpha);
  // Opens `path` as a layer, behind the end of the selected one or along with its other eye if told so.
  bool add(const std::string& path, bool single_image, bool after_selected, bool other_view);
  // The frames that `range` lists, there or not; a path that is no numbered picture is added as by add().
  bool add_with_range(const std::string& path, const std::string& range);
  // A sequence of the files that match the name of `path`, of itself alone when there are none yet.
  bool add_forced_sequence(const std::string& path);
  // Puts the record on top of the stack, selects it and fits the timeline.
  void enter_stack(track_info record, bool apply_default_aspect);
  // Layers made inside, as large as the output mask.
  void new_adjustment_layer(int frames = 1);
  void new_brush_layer(int frames = 1);
  void new_brush_sequence_layer(int frames = 1);
  void new_text_layer(int frames = 1);
  // Not undoable.
  void layer_delete_all();
  // Deletes all layers and takes the settings of a new document.
  void new_composition(bool file_among_unsaved);

  // --- undo: one step (undo.h) ---
  std::shared_ptr<undo_action> undo_stack;
  void set_undo_action(std::shared_ptr<undo_action> action);
  // Whether there is an action, and the composition still is as it left it.
  bool can_undo() const;
  void undo();

  // --- run-time state that is never stored ---
  // The main window fills the screen; then the fields that begin with `fs_` stand for their partners.
  bool full_screen = false;
  bool& shown_timeline() { return full_screen ? fs_timeline_visible : timeline_visible; }
  bool& shown_infobar() { return full_screen ? fs_infobar_visible : infobar_visible; }
  bool& shown_property_panel() { return full_screen ? fs_pp_visible : pp_visible; }
  bool& shown_tooltip() { return full_screen ? fs_pv_tooltip_enabled : pv_tooltip_enabled; }
  math::pointd& property_panel_position() { return full_screen ? fs_pp_pos : pp_pos; }
  // The folders of watched sequences, by layer id; made with the first watch.
  std::shared_ptr<platform::folder_watcher> watcher;

  // The catalogue text of a key, or the key itself without a catalogue.
  std::string catalogue_text(std::string_view key) const;
  void report_error(const std::string& line) const {
    if (hooks.report_error) hooks.report_error(line);
  }
};

}  // namespace ksn
