// How a picture of the document is shown. A plain value: whoever draws pictures has one of its own.
#pragma once

#include "composition/enums.h"
#include "img/transfer.h"
#include "lib/point.h"

namespace ksn {

struct view {
  view_type channels = view_type::rgb;
  bool safe_area_active = false;
  safe_area_type_t safe_area_type = safe_area_type_t::blue;
  mask_type_t mask_type = mask_type_t::transparent;
  bool mask_transforms_enabled = false;
  bool grid = false;
  int zoom_factor2 = 100;  // percent
  math::pointd pan_position;
  bool aspect_enabled = false;
  double aspect = 1.0666667;  // pixel aspect
  cache_resolution_type resolution = cache_resolution_type::full;
  target_view_type stereo_view = target_view_type::left;  // view that is shown
  stereo_view_type stereo_mode = stereo_view_type::anaglyph;
  bool switch_views = false;
  img::correction tf;  // colour correction of all that is shown
  view_filter_type filter = view_filter_type::automatic;
  bool operator==(const view&) const = default;

  // Factor of a picture's width on the screen.
  double zoom() const;
  void increase_zoom_factor();
  void decrease_zoom_factor();
  double view_pixel_aspect() const { return aspect_enabled ? aspect : 1.0; }
  // Values below 1 switch the view aspect off and keep the former value.
  void set_view_aspect(double value);
  // Adds hundredths of a stop to the exposure of what is shown, and hundredths to its gamma, of all three colours.
  void add_exposure(int hundredths);
  void add_gamma(int hundredths);
  // Takes every correction of what is shown back; colour space and lookup table stay.
  void make_neutral();
  bool is_neutral() const;
  // Shows the channel alone, or all of them when it is shown alone.
  void toggle_channel(view_type channel);
  // The next of a colour's ways: as grey, in colour, hidden.
  void step_channel_mode(channel_type channel);
  // Whether the button of a channel is lit.
  bool channel_lit(channel_type channel) const;
  // Shows or hides the mask and the safe area; makes them visible kinds when both are none.
  void toggle_mask();
};

}  // namespace ksn
