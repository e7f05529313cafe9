// How a layer's picture is made from its source and how it meets what is below.
#pragma once

#include "composition/enums.h"
#include "img/transfer.h"
#include "lib/color.h"

namespace ksn {

struct color_key {
  bool enabled = false;
  lib::color key{255, 0, 0, 0};
  int slope = 6;
  int tolerance = 48;
  bool operator==(const color_key&) const = default;
};

struct layer_look {
  bool visible = false;
  ksn::alpha_type alpha_type = ksn::alpha_type::ignore;
  ksn::blend_type blend_type = ksn::blend_type::normal;
  ksn::depth_blend_type depth_blend_type = ksn::depth_blend_type::replace;
  int opacity = 100;  // percent
  bool invert_color = false;
  bool invert_alpha = false;
  bool invert_depth = false;
  int alpha_source_id = 0;  // id of the layer that supplies alpha, 0 none
  channel_type alpha_source_channel = channel_type::alpha;
  alpha_source_range_type alpha_source_range = alpha_source_range_type::none;
  bool alpha_source_invert = false;
  bool alpha_source_stretch = false;
  alpha_source_mode_type alpha_source_mode = alpha_source_mode_type::replace;
  channel_type alpha_source_channel2 = channel_type::alpha;
  img::correction tf;
  color_key ck_primary;
  color_key ck_secondary;
  int blur_radius = 0;  // pixels; stored, not rendered
  target_view_type target_view = target_view_type::both;
  view_type channels = view_type::rgb;
  bool operator==(const layer_look&) const = default;
};

}  // namespace ksn
