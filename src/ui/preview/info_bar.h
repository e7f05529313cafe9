// The information bar: one row of fields over the lower end of the preview.
#pragma once

#include <memory>

#include "ui/area.h"

namespace ui {

// Sizes, volume, rate, memory, zoom, aspect and counter. A right click opens a field's menu, and so does a left one
// where a field has nothing else to do: the volume is dragged, the size of the output typed, the rate's click drops
// frames or not. Its origin is the middle of the preview area. It is there while `infobar_visible` says so, and takes
// the pointer in its own rows alone.
class info_bar : public ui_object {
 public:
  // Whether it shows, and whether a point lies in its rows.
  virtual bool shown() const = 0;
  virtual bool covers(math::point point) const = 0;
};

std::shared_ptr<info_bar> make_info_bar(workbench& bench);

}  // namespace ui
