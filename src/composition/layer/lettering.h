// The text of a text layer, and its style.
#pragma once

#include <string>

#include "composition/enums.h"
#include "lib/color.h"

namespace ksn {

struct text_attributes {
  text_align_x_type align_x = text_align_x_type::center;
  text_align_y_type align_y = text_align_y_type::middle;
  std::string font = "Arial";
  int size = 32;  // pixels
  bool bold = false;
  bool italic = false;
  lib::color color{255, 255, 255, 255};
  lib::color outline_color{255, 0, 0, 0};
  lib::color shadow_color{255, 0, 0, 0};
  bool back_enabled = false;
  lib::color back_color{255, 0, 0, 0};
  bool back_cover_layer = false;
  bool operator==(const text_attributes&) const = default;
};

struct layer_lettering {
  std::string text;  // UTF-8, fields included
  text_attributes text_attr;
  bool operator==(const layer_lettering&) const = default;
};

}  // namespace ksn
