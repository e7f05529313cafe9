// The picture of one row of the layer stack, in two steps.
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

// Ground, bar, holes and marks. Asks for no text and no art, so that rows may be drawn on several threads at once.
void draw_row_shapes(painter& on, const ruler_scale& ruler, const drawn_row& row);
// Number, eye, speaker, letters, name and opacity over them. Main thread.
void draw_row_signs(painter& on, const ruler_scale& ruler, const drawn_row& row);

}  // namespace ui
