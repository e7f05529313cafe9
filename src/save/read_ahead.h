// Source frames that come into the frame cache before they are needed, and leave it again afterwards.
#pragma once

#include <map>
#include <vector>

#include "cache/reading/frame_scheduler.h"
#include "composition/state.h"

namespace save {

// The frame of a layer at a timeline time as the pipeline will ask for it. False where there is none that can be read
// ahead: no file behind it, a movie, or a layer that bypasses the cache. `native`: before the lookup.
bool wanted_of(const ksn::track_info& track, double time, bool native, cache::frame_request& wanted);

// The thread of the save; one at a time for a scheduler.
class read_ahead {
 public:
  explicit read_ahead(cache::frame_scheduler& reading) : reading_(reading) {}
  ~read_ahead();
  read_ahead(const read_ahead&) = delete;
  read_ahead& operator=(const read_ahead&) = delete;

  // Begins to read what frame `frame` needs. Call it for the frames in their order.
  void want(int frame, const std::vector<cache::frame_request>& list);
  // Whether all for `frame` has been read, or can't be.
  bool is_ready(int frame);
  // Waits until all for `frame` has been read; false when some of it could not be read.
  bool wait(int frame);
  // Frames up to `frame` need nothing any more. Pictures that were not in the cache before leave it.
  void release(int frame);
  // Bytes of the pictures that are held.
  std::size_t bytes();

 private:
  struct entry {
    cache::frame_request request;
    img::const_image_ptr image;  // null while it is being read, and after a failure
    int first_frame = 0;
    int last_frame = 0;
    bool was_cached = false;
    bool is_for(int frame) const { return frame >= first_frame && frame <= last_frame; }
  };

  bool is_there(entry& entry);
  void drop(const entry& entry);

  cache::frame_scheduler& reading_;
  std::map<cache::frame_key, entry> entries_;
};

}  // namespace save
