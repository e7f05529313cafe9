// The document itself: an ordered stack of layers, a selection and a timeline.
#pragma once

#include <deque>
#include <map>
#include <set>
#include <string>

#include "composition/track_info.h"

namespace ksn {

struct document {
  std::deque<track_info> tracks;  // index 0 is the top of the stack, where layers enter
  std::set<int> selection;        // indices into tracks

  back_color_type back_color = back_color_type::black;
  lib::color back_custom_color{255, 54, 58, 69};
  math::point mask_size{720, 576};  // of the output: width, height

  int fpcs = 2500;                 // timeline rate in hundredths of a frame per second
  int tm_n = 250;                  // timeline length in frames, at least 10
  int tm_f = 0;                    // first frame of the work area
  int tm_l = 250;                  // end of the work area, not part of it
  double tm_t = 0.0;               // current time in timeline frames
  bool timeline_user_set = false;  // tm_n was set by hand on a composition without layers
  int frame_base = 0;              // number of the first frame as shown, 0 or 1
  bool playing = false;
  bool forward = true;
  repeat_type repeat = repeat_type::loop;
  bool can_drop_frames = false;

  std::map<std::string, img::lookup_table> lookup_table_map;  // by file name
  std::map<std::string, std::string> vars;                    // user variables of the command language
  bool operator==(const document&) const = default;

  // --- layers ---
  int track_count() const { return static_cast<int>(tracks.size()); }
  // The index must be that of a layer.
  track_info& track_at(int index) { return tracks[static_cast<std::size_t>(index)]; }
  const track_info& track_at(int index) const { return tracks[static_cast<std::size_t>(index)]; }
  // Whether a layer is visible whose pictures change without any command, and one of text, which may tell the time.
  bool shows_live() const;
  bool shows_text() const;
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
  void increase_fps();
  void decrease_fps();
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
  // Takes frames away from the start of the timeline: layers, work area and current time move with it, and the length
  // follows. Fewer than 0 put frames in front. At least 10 frames stay.
  void cut_timeline_begin(int frames);
  void toggle_repeat();

  // --- background ---
  // The colour of `back_color`; alpha is 255.
  lib::color resolved_back_color() const;
  // Finds the named colour with these red, green and blue, else stores the custom colour.
  void set_back_color(lib::color color);
};

}  // namespace ksn
