// The pixels of a picture for people who look at it: values under a point and statistics over an area.
//
// All of it comes from frames that are in memory because they are shown; nothing is read, decoded or rendered for it.
// A layer whose source picture has left memory has no values. Main thread.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "composition/state.h"
#include "lib/point.h"
#include "lib/rectangle.h"
#include "render/compositor.h"
#include "render/pipeline.h"

namespace render {

// One pixel of a layer's source, before any colour of the layer or the view. Floats are the file's own; bytes and
// packed 10-bit words are fractions of their white. A gray picture gives its value three times.
struct pixel_values {
  int layer = -1;               // index into the stack
  math::point pixel;            // of the source at full size, from its top left corner
  std::array<float, 4> rgba{};  // red, green, blue, alpha
  bool has_alpha = false;       // without it alpha is 1
  bool reduced = false;         // from the picture at half or quarter size that is shown
  bool after_cube = false;      // with the layer's cube in it, since the picture before that is not in memory any more
};

struct channel_statistics {
  double mean = 0;  // of the values that are finite; not a number when there is none
  float least = 0;  // of all that are numbers, infinite ones included; not a number when there is none
  float most = 0;
  long long below_zero = 0;  // how many values
  long long above_one = 0;
  long long not_a_number = 0;
};

struct area_statistics {
  int layer = -1;
  rectangle area;        // of the source at full size
  long long pixels = 0;  // that were counted
  bool has_alpha = false;
  bool reduced = false;
  bool after_cube = false;
  std::array<channel_statistics, 4> rgba;  // red, green, blue and, where there is one, alpha
};

// The topmost visible layer with a picture at a point of a view's picture, its crop obeyed; -1 for none.
int picture_under(const pipeline& pipeline, const ksn::state& composition, const frame_view& view, math::point at);

// The values of a layer's pixel that is drawn at a point of a view's picture; nothing where the layer is not, or its
// source not in memory.
std::optional<pixel_values> values_at(pipeline& pipeline, const ksn::state& composition, const frame_view& view,
                                      int layer, math::point at);

// The same over all pixels of a layer that lie in a box of a view's picture, those that a small zoom leaves out
// included. On all processors: a 4K picture takes some hundredths of a second.
std::optional<area_statistics> statistics_over(pipeline& pipeline, const ksn::state& composition,
                                               const frame_view& view, int layer, const rectangle& box);

}  // namespace render
