// Settings that outlive documents: defaults of new ones and preferences of the user.
#pragma once

#include <ctime>
#include <map>
#include <utility>

#include "composition/layer/lettering.h"

namespace ksn {

struct settings {
  back_color_type default_back_color = back_color_type::black;
  lib::color default_back_custom_color{255, 54, 58, 69};
  int default_cfps = 2500;
  ksn::alpha_type default_alpha_type = ksn::alpha_type::mask;
  std::map<std::pair<int, int>, double> default_aspect;  // pixel aspect by picture size
  int default_frame_base = 0;
  text_attributes default_text_attr;
  bool vsync = false;
  int vsync_parameter = 1;  // throttle of the main loop; 0 does not wait in the foreground
  int vsync_mode = 1;       // which of the three vsync present modes
  ext_device_type ext_device = ext_device_type::decklink;
  ext_alpha_type ext_alpha = ext_alpha_type::none;
  int volume = 100;
  bool spb_enabled = false;
  bool automatic_preload = false;
  bool continue_playback_after_drag = false;
  bool disable_caching_by_default = false;
  int creation_timestamp = static_cast<int>(std::time(nullptr));
  bool operator==(const settings&) const = default;

  double default_aspect_for(int width, int height) const;
};

}  // namespace ksn
