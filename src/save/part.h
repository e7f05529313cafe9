// Which frames of the work area a save writes, so that many nodes of a farm share one sequence.
#pragma once

#include <string>

namespace save {

struct part {
  // As the user counts them, `frame_base` included, both ends part of it; all where `last` is below `first`.
  int first = 0;
  int last = -1;
  int chunk = 1;  // of `chunks` pieces of nearly the same length
  int chunks = 1;
  bool skip_existing = false;  // frames that stand under their final name are left alone

  bool is_all() const { return last < first && chunks == 1; }
};

// Timeline frames `first` to `end` - 1.
struct frame_range {
  int first = 0;
  int end = 0;
};

// The frames of `whole` that belong to the part; empty when none does. The chunks of one range touch and never overlap.
frame_range frames_of(const part& part, frame_range whole, int frame_base);

// "A-B" or "A", and "I/N" with I from 1 to N; "all" and "1/1" take everything again. False, and no change, for any
// other text.
bool parse_frames(const std::string& text, part& part);
bool parse_chunk(const std::string& text, part& part);

}  // namespace save
