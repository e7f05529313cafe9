// In which order timeline frames are worth reading.
#pragma once

#include <optional>

#include "composition/enums.h"

namespace cache {

// The frames of a work area, `first` to `end` - 1, as they come from the play head `head`, which lies in it. Step 0 is
// the head's own frame. Plain values: each head gets a new order.
struct play_order {
  int first = 0;
  int end = 0;
  int head = 0;
  bool forward = true;
  ksn::repeat_type repeat = ksn::repeat_type::loop;

  // The frame that is shown `step` frames from now; nothing after the end of a play that does not repeat.
  std::optional<int> at(int step) const;
  // Steps after which every frame has come that ever will.
  int steps() const;
  // How many steps from here `frame` is shown for the first time; nothing when it never is.
  std::optional<int> steps_to(int frame) const;
};

// The same from the head outward, first to the side of the last movement. `run` frames that follow each other stay
// together in ascending order, for sources that are read so.
struct outward_order {
  int first = 0;
  int end = 0;
  int head = 0;
  bool forward = true;
  int run = 1;

  std::optional<int> at(int step) const;
  int steps() const { return end - first; }
};

}  // namespace cache
