// The panels and strips around the picture, and the tool in hand.
#pragma once

#include "composition/enums.h"
#include "lib/color.h"
#include "lib/point.h"

namespace ksn {

struct workspace {
  int track_max = 0;  // layers that the stack shows
  int prev_track_max = 0;
  counter_type_t counter_type = counter_type_t::frame;
  int pp_tab = 0;  // color, placement, blending, brush, text, effects, source, r3d
  // The fields that begin with `fs_` stand for their partners while the window fills the screen.
  bool timeline_visible = true;
  bool fs_timeline_visible = false;
  bool infobar_visible = true;
  bool fs_infobar_visible = true;
  bool pp_visible = false;
  bool fs_pp_visible = false;
  math::pointd pp_pos{1.0, 1.0};
  math::pointd fs_pp_pos{1.0, 1.0};
  bool pv_tooltip_enabled = true;
  bool fs_pv_tooltip_enabled = false;
  // Never stored.
  bool full_screen = false;
  bool split_color = false;  // the panel shows red, green and blue of a correction by themselves
  bool split_scale = false;  // and width and height of a layer

  int brush_size = 2;
  int brush_softness = 0;
  int brush_spacing = 5;
  lib::color brush_color{255, 255, 255, 255};
  brush_pressure_type brush_pressure = brush_pressure_type::size;
  bool operator==(const workspace&) const = default;

  bool& shown_timeline() { return full_screen ? fs_timeline_visible : timeline_visible; }
  bool& shown_infobar() { return full_screen ? fs_infobar_visible : infobar_visible; }
  bool shown_infobar() const { return full_screen ? fs_infobar_visible : infobar_visible; }
  bool& shown_property_panel() { return full_screen ? fs_pp_visible : pp_visible; }
  bool& shown_tooltip() { return full_screen ? fs_pv_tooltip_enabled : pv_tooltip_enabled; }
  math::pointd& property_panel_position() { return full_screen ? fs_pp_pos : pp_pos; }
  // Hides the layer stack of `track_count` layers, or shows as much of it as before.
  void toggle_layer_stack(int track_count);
  // To the next or previous tab, from the last to the first.
  void step_property_tab(int direction);
};

}  // namespace ksn
