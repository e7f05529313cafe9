// The state of every source frame of every layer, for whoever draws it.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "cache/reading/frame_scheduler.h"
#include "composition/state.h"

namespace cache {

enum class frame_presence : std::uint8_t {
  missing,     // neither in memory nor wanted
  wanted,      // waits to be read
  being_read,  // on its way into memory
  kept,        // in memory
  failed,      // could not be read, and is not tried again before its file changes
};

// Main thread. A table of one byte a frame for each layer, kept up with what the cache and the scheduler tell: asking
// costs nothing, a tick in which nothing happened next to nothing, and a layer that is new, or shows other frames, is
// looked through once, a few thousand frames a tick. The only one that takes the cache's changes.
class frame_board {
 public:
  explicit frame_board(frame_scheduler& reading) : reading_(reading) {}

  // Once a tick, before anybody asks.
  void update(const ksn::state& composition);

  // The source frames 0 to track.frames - 1 of a decoded layer, at the composition's resolution. Empty for all other
  // layers and for one that update() has not seen. Valid until the next update().
  std::span<const frame_presence> of(const ksn::track_info& track) const;
  // A part of it: `count` frames from `first` on, or as many of them as there are.
  std::span<const frame_presence> of(const ksn::track_info& track, int first, int count) const;

  // Increases with each update() that changed anything.
  std::uint64_t revision() const { return revision_; }

 private:
  struct table {
    std::uint64_t identity = 0;  // of the keys of its frames
    std::size_t looked_at = 0;   // frames whose state is known
    std::vector<frame_presence> frames;
    std::vector<int> passing;  // frames that were wanted or being read at the last update
    std::unordered_map<std::string, int> frame_of_path;
    bool seen = false;  // in this update
  };

  frame_scheduler& reading_;
  std::map<int, table> tables_;  // by layer id
  std::uint64_t revision_ = 0;

  frame_presence state_of(const ksn::track_info& track, int frame, ksn::cache_resolution_type resolution) const;
  void set(table& table, int frame, frame_presence state);
  void look_through(const ksn::state& composition, const ksn::track_info& track, table& table);
  int find_frame(const ksn::track_info& track, table& table, const std::string& path);
};

}  // namespace cache
