// From timeline frames to pixels of the ruler and back, and what the pointer finds on it. Plain arithmetic.
#pragma once

#include "lib/point.h"

namespace ui {

// At scale 1, in pixels.
constexpr int ruler_margin = 45;  // on either side of the ruler, and of the bars of the layers
constexpr int ruler_top = 50;     // from the split line
constexpr int ruler_height = 20;

// The ruler and the bars of one window. Places are pixels of the client area.
struct ruler_scale {
  int width = 0;   // of the client area
  int length = 1;  // of the timeline in frames
  int scale = 1;   // of the interface

  double pixels_per_frame() const;
  double frames_per_pixel() const { return 1.0 / pixels_per_frame(); }
  int left() const { return width / 2 - (width - 2 * ruler_margin * scale) / 2; }
  int right() const { return x_of(length); }
  int x_of(double frame) const;
  // Any place; the result may lie outside of the timeline.
  double frame_at(int x) const { return (x - left()) * frames_per_pixel(); }
};

// The part of the ruler that a point belongs to, by the numbers of the hints.
enum class ruler_region {
  none = 0,
  left_handle = 1,
  work_area_begin = 2,
  cursor = 3,
  work_area = 4,
  work_area_end = 5,
  right_handle = 6,
  rest = 7
};

struct ruler_marks {
  int begin = 0;  // of the work area, in frames
  int end = 0;
  int time = 0;
};

// `y` is counted from the split line.
ruler_region ruler_hit(const ruler_scale& ruler, const ruler_marks& marks, int x, int y);

// Distance of the ruler's ticks in frames. `major` ones have a label, every `minor` frames stands a short one; 0 for
// none.
struct ruler_ticks {
  int major = 1;
  int minor = 0;
};
// Steps of 1, 2 and 5 times a power of ten whose labels lie at least `label_width` pixels apart. With a rate, in frames
// a second, steps above it are whole seconds, minutes and hours.
ruler_ticks ticks_of(const ruler_scale& ruler, int label_width, int rate = 0);

}  // namespace ui
