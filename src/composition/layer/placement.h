// Where and how large a layer lies in the composition.
#pragma once

#include "lib/color.h"
#include "lib/point.h"

namespace ksn {

struct layer_placement {
  math::point pos;      // of the layer's centre, in composition pixels from the centre
  double aspect = 1.0;  // pixel aspect, through set_aspect()
  int scale_x = 100;    // percent, through set_scale_x()
  int scale_y = 100;
  bool flip_x = false;
  bool flip_y = false;
  bool crop = false;
  math::point crop_xy;  // centre of the crop rectangle in layer pixels, from the anchor
  math::point crop_wh;  // its size; 0 or less means the picture size
  bool border = false;
  lib::color border_color{255, 58, 107, 139};
  bool safe_area = false;
  bool operator==(const layer_placement&) const = default;

  // Values at or below the least one become it: 0.001, and 1 percent.
  void set_aspect(double value) { aspect = value > 0.001 ? value : 0.001; }
  void set_scale_x(int value) { scale_x = value < 2 ? 1 : value; }
  void set_scale_y(int value) { scale_y = value < 2 ? 1 : value; }
};

}  // namespace ksn
