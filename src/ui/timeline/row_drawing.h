// The picture of one row of the layer stack.
#pragma once

#include <string_view>

#include "composition/track_info.h"
#include "ui/timeline/frame_marks.h"
#include "ui/timeline/ruler_scale.h"

namespace ui {

struct drawn_row {
  const ksn::track_info& track;
  const layer_columns& columns;
  int columns_left = 0;  // pixel of the client area where they begin
  int index = 0;         // in the stack
  int top = 0;           // pixel of the client area
  bool selected = false;
  bool scrolls = false;   // the stack has a scroll bar
  std::string_view gone;  // said of a layer whose source is not there; empty for the others
};

// Draws on several threads at once where the painter's functions may be called there, each row once. Before, call
// prepare_rows() on the main thread, which is where fonts and art that are missing are told.
void draw_row(painter& on, const ruler_scale& ruler, const drawn_row& row);
void prepare_rows(const painter& on);

}  // namespace ui
