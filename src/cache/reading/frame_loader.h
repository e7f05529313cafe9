// Decides what to read next: ahead of the play head, around it, what the user asked for, and the rest of the work
// area.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "cache/reading/frame_order.h"
#include "cache/reading/frame_scheduler.h"
#include "composition/state.h"

namespace cache {

// Tells the scheduler what to read ahead. Main thread. Each tick looks at the document and hands over the next frames,
// a few dozen at a time; what is in memory, or failed, is passed over.
//
// While the composition plays, the frames from the play head on in the direction of play come first, over all layers
// that take part, frame by frame of the timeline; around the loop, and back where it turns. At rest those around the
// head, the side of the last movement first, and then, as long as memory is there, the rest of the work area. What the
// user asked for lies between the two. Near the head frames are read even when memory is full: what was just shown
// makes room. Where a play may drop frames and its source can't keep up, nothing is read ahead: what would be read
// would not be shown.
class frame_loader {
 public:
  explicit frame_loader(frame_scheduler& reading) : reading_(reading) {}

  // The user's wish: the frames that the layer shows in timeline frames `from` to `to` - 1. Nothing for a layer without
  // cache, a still, or a layer without frames of its own. Ends when memory is full.
  void preload(const ksn::track_info& layer, int from, int to);
  // Begins with it at once, where the next tick may be far.
  void begin_preload(const ksn::state& composition);
  // After a gesture that changed the work area: cancels all, lets `keep_alive` touch what the loop needs, makes room
  // well below the memory limit, and loads the visible layers from the play head to the end of the work area.
  void preload_after_gesture(const ksn::state& composition, const std::function<void()>& keep_alive);
  void cancel_layer(int layer_id);
  // Drops all that is not being read. Nothing is read ahead before the position, the document or the play changes.
  void stop();

  // Frames have left the memory, or may be tried again, whose place in the order has gone by: looks through all again.
  void look_again() { identity_ = 0; }

  // Starts to read what is shown at that time, for somebody who will ask for it later.
  void read_shown(const ksn::state& composition, double time);
  // Once a tick. `time`: of the frame that is shown.
  void tick(const ksn::state& composition, double time);
  // For work without a main loop: reads what the user asked for, and returns when all of it is there, memory is full,
  // or `cancelled` gives true.
  void finish_preload(const ksn::state& composition, const std::function<bool()>& cancelled);

  // Whether the work area is loaded while nothing else goes on.
  bool fill_at_rest = true;
  // Whether the pictures of a play take so much of the machine that what the user asked for waits until it stops.
  bool play_is_heavy = false;
  // Which layers a picture needs; without it those that are visible.
  std::function<std::vector<bool>(const ksn::state& composition)> taking_part;

  frame_scheduler& reading() { return reading_; }

 private:
  struct wish {
    int layer_id = 0;
    int from = 0;
    int to = 0;  // not part of it
  };
  // A part of the reading ahead that goes on from tick to tick.
  struct walk {
    int next = 0;  // step of the order
    bool done = true;
    void restart() { next = 0, done = false; }
  };

  frame_scheduler& reading_;
  std::vector<wish> wishes_;
  walk wished_;
  walk far_;
  std::uint64_t identity_ = 0;  // of what decides which frames are which
  int head_ = -1;
  bool forward_ = true;  // the last movement
  bool playing_ = false;
  bool stopped_ = false;
  // A bit for each of the last frames that the play showed, the newest lowest: 1 where it left some out before it.
  std::uint32_t skips_ = 0;
  bool keeps_up_ = true;      // may drop frames, and had to drop few
  bool soon_there_ = false;   // the next frames of the play are in memory
  std::vector<bool> needed_;  // layers that take part

  void look_at(const ksn::state& composition, int head);
  int steps_since(const ksn::state& composition, int head) const;
  void note_steps(const ksn::state& composition, int steps);
  void read_near(const ksn::state& composition);
  void read_far(const ksn::state& composition);
  void read_wished(const ksn::state& composition);
  int near_frames(const ksn::state& composition) const;
  play_order playing_order(const ksn::state& composition) const;
  outward_order resting_order(const ksn::state& composition) const;
  template <class Wanted>
  void collect(const ksn::state& composition, int frame, const Wanted& wanted, std::vector<frame_request>& list) const;
};

}  // namespace cache
