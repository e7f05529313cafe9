// How the picture is shown: zoom, channels, mask, rate and repeat in the steps that a user takes.
#include <algorithm>
#include <limits>

#include "composition/state.h"

namespace ksn {

void state::increase_zoom_factor() {
  const int step = zoom_factor2 >= 100 ? 100 : zoom_factor2 >= 50 ? 50 : zoom_factor2 >= 10 ? 10 : 1;
  if (zoom_factor2 > std::numeric_limits<int>::max() - step) return;
  zoom_factor2 = (zoom_factor2 / step + 1) * step;
}

void state::decrease_zoom_factor() {
  if (zoom_factor2 <= 1) return;
  const int step = zoom_factor2 > 100 ? 100 : zoom_factor2 > 50 ? 50 : zoom_factor2 > 10 ? 10 : 1;
  zoom_factor2 = (zoom_factor2 - 1) / step * step;
}

// The broadcast rates lie between the whole ones and are reached from their neighbours.
void state::increase_fps() {
  switch (fpcs) {
    case 2900:
      return set_frame_rate(2997);
    case 2300:
      return set_frame_rate(2398);
    case 5900:
      return set_frame_rate(5994);
    default:
      if (fpcs <= std::numeric_limits<int>::max() - 100) set_frame_rate((fpcs / 100 + 1) * 100);
  }
}

void state::decrease_fps() {
  switch (fpcs) {
    case 3000:
      return set_frame_rate(2997);
    case 2400:
      return set_frame_rate(2398);
    case 6000:
      return set_frame_rate(5994);
    default: {
      const int whole = fpcs / 100 + (fpcs % 100 != 0);
      if (whole >= 2) set_frame_rate(whole * 100 - 100);
    }
  }
}

void state::toggle_channel(view_type channel) {
  view = view == channel ? view_type::rgb : channel;
}

void state::step_channel_mode(channel_type channel) {
  // By the view at hand; one row for blue, green and red.
  static constexpr signed char next[3][13] = {{1, 2, 9, 0, 1, 7, 0, 1, 4, 0, 0, 0, 0},
                                              {3, 4, 7, 4, 5, 9, 3, 4, 1, 3, 3, 3, 3},
                                              {6, 7, 4, 6, 7, 1, 7, 8, 9, 6, 6, 6, 6}};
  const int row = static_cast<int>(channel);
  if (row > 2) return;
  view = static_cast<view_type>(next[row][static_cast<int>(view)]);
}

bool state::channel_lit(channel_type channel) const {
  const auto shown_in = [this](std::initializer_list<int> views) {
    return std::find(views.begin(), views.end(), static_cast<int>(view)) != views.end();
  };
  switch (channel) {
    case channel_type::blue:
      return shown_in({0, 1, 5, 8, 9});
    case channel_type::green:
      return shown_in({2, 3, 4, 8, 9});
    case channel_type::red:
      return shown_in({2, 5, 6, 7, 9});
    case channel_type::alpha:
      return view == view_type::alpha;
    case channel_type::luma:
      return view == view_type::luma;
    case channel_type::depth:
      return view == view_type::depth;
  }
  return false;
}

void state::toggle_mask() {
  if (safe_area_active) {
    safe_area_active = false;
    return;
  }
  if (safe_area_type == safe_area_type_t::none && mask_type == mask_type_t::none) {
    safe_area_type = safe_area_type_t::blue;
    mask_type = mask_type_t::transparent;
  }
  safe_area_active = true;
}

void state::toggle_repeat() {
  repeat = static_cast<repeat_type>((static_cast<int>(repeat) + 1) % 3);
}

void state::toggle_layer_stack() {
  if (track_max > 0) {
    prev_track_max = track_max;
    track_max = 0;
  } else {
    track_max = prev_track_max > 0 ? prev_track_max : track_count();
  }
}

void state::step_property_tab(int direction) {
  constexpr int tabs = 8;
  pp_tab = (pp_tab + direction + tabs) % tabs;
}

}  // namespace ksn
