// Where the parts of a layer's row stand.
#pragma once

#include <algorithm>

#include "composition/window_layout.h"
#include "ui/timeline/ruler_scale.h"

namespace ui {

// By the numbers of the hints.
enum class row_region { none = 0, number = 1, visible, audible, effect, background, bar_in, bar_body, bar_out };

// At scale 1, in pixels.
constexpr int row_column = 15;        // number, eye and speaker, from the left end of the window
constexpr int scroll_bar_width = 13;  // at the right end, where not all layers fit
constexpr int bar_end = 6;            // what an end of a bar takes of it for dragging

// A layer's bar in pixels of the client area, cut to the ruler; empty where it lies outside.
struct bar_place {
  int begin = 0;
  int end = 0;  // not part of it
  bool begin_seen = true;
  bool end_seen = true;
};

inline bar_place bar_of(const ruler_scale& ruler, const ksn::track_info& track) {
  const int left = ruler.left();
  const int right = ruler.right() + 1;
  const int begin = ruler.x_of(static_cast<double>(track.timing.begin) + track.in());
  // A bar is seen however short it is.
  const int end = std::max(ruler.x_of(static_cast<double>(track.timing.begin) + track.out()), begin + 2 * ruler.scale);
  return {std::clamp(begin, left, right), std::clamp(end, left, right),
          begin >= left && begin<right, end> left && end <= right};
}

// The rows that are seen. The first one may be any layer from 0 on, as long as the last one fits.
struct row_window {
  int first = 0;  // index of the layer in the first row
  int rows = 0;
  int count = 0;  // layers

  int largest_first() const { return std::max(0, count - rows); }
  bool scrolls() const { return count > rows; }
};

// The part of a row under x.
row_region row_hit(const ruler_scale& ruler, const ksn::track_info& track, bool scrolls, int x);

}  // namespace ui
