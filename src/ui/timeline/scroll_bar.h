// The scroll bar at the right end of the layer stack.
#pragma once

#include <algorithm>

#include "ui/timeline/row_layout.h"

namespace ui {

class painter;

enum class scroll_part { up, before, thumb, after, down };

// In pixels of the client area.
struct scroll_bar {
  int right = 0;   // of the window
  int top = 0;     // of the first row
  int height = 0;  // of all rows
  int scale = 1;
  row_window rows;

  int arrow() const { return std::min(14 * scale, height / 2); }
  int trough() const { return height - 2 * arrow(); }
  int thumb_height() const;
  int thumb_top() const;
  // Rows that the thumb is moved by for so many pixels.
  int rows_of(int pixels) const;
  scroll_part part_at(int y) const;
};

void draw_scroll_bar(painter& on, const scroll_bar& bar, bool active);

}  // namespace ui
