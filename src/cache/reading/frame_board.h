// The state of every source frame of every layer, for whoever draws it.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <unordered_map>
#include <vector>

#include "cache/reading/frame_places.h"
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

// Main thread. A table of one byte a frame for each source that layers show, kept up with what the cache and the
// scheduler tell: asking costs nothing, a tick in which nothing happened next to nothing, a frame whose state changed a
// constant, and sources that are new are looked through a few thousand frames a tick. The only one that takes the
// cache's changes.
class frame_board {
 public:
  explicit frame_board(frame_scheduler& reading) : reading_(reading) {}

  // Once a tick, before anybody asks.
  void update(const ksn::state& composition);
  // Sources are still looked through: the next update() finds more.
  bool is_busy() const { return busy_; }

  // The source frames 0 to track.frames - 1 of a decoded layer, at the composition's resolution. Empty for all other
  // layers and for one that update() has not seen. Valid until the next update().
  std::span<const frame_presence> of(const ksn::track_info& track) const;
  // A part of it: `count` frames from `first` on, or as many of them as there are.
  std::span<const frame_presence> of(const ksn::track_info& track, int first, int count) const;
  // The name of the layer's frames in changes_since(); 0 for none. Layers that show the same frames of one source have
  // the same.
  std::uint64_t source_of(const ksn::track_info& track) const;

  // Changes when source_of() may give other answers.
  std::uint64_t listing() const { return listing_; }
  // Counts the changes.
  std::uint64_t revision() const { return revision_; }
  struct change {
    std::uint64_t source;
    int frame;
  };
  // The changes after that revision, oldest first; nothing when that is too long ago to tell.
  std::optional<std::vector<change>> changes_since(std::uint64_t revision) const;

 private:
  struct table {
    std::size_t layer = 0;  // index of one that shows it
    int layer_id = 0;
    bool seen = true;
    std::size_t looked_at = 0;  // frames whose state is known
    std::vector<frame_presence> frames;
    std::vector<int> passing;  // frames that were wanted or being read at the last update
    std::vector<std::pair<int, frame_presence>> next_passing;
  };

  frame_scheduler& reading_;
  std::unordered_map<std::uint64_t, table> tables_;  // by the identity of their frames
  frame_places places_;                              // of the same
  std::unordered_map<int, std::uint64_t> sources_;   // of decoded layers, by id
  std::optional<unsigned long long> listed_;         // revision of the document whose sources they are
  ksn::cache_resolution_type resolution_{};          // of these frames
  bool busy_ = false;
  std::uint64_t listing_ = 0;
  std::uint64_t revision_ = 0;
  std::vector<change> latest_;  // the change to revision r stands at r % the size

  bool is_listed(const ksn::state& composition) const;
  void list_sources(const ksn::state& composition);
  frame_presence state_of(const ksn::track_info& track, int frame) const;
  void set(std::uint64_t source, table& table, int frame, frame_presence state);
  void take_changes(const ksn::state& composition);
  void take_requests(const ksn::state& composition);
  void look_through(const ksn::state& composition);
};

}  // namespace cache
