#include "composition/workspace.h"

namespace ksn {

void workspace::toggle_layer_stack(int track_count) {
  if (track_max > 0) {
    prev_track_max = track_max;
    track_max = 0;
  } else {
    track_max = prev_track_max > 0 ? prev_track_max : track_count;
  }
}

void workspace::step_property_tab(int direction) {
  constexpr int tabs = 8;
  pp_tab = (pp_tab + direction + tabs) % tabs;
}

}  // namespace ksn
