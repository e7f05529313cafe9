// Source frames that come into the frame cache before they are needed, and leave it again afterwards.
#pragma once

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "cache/frame_cache.h"
#include "composition/state.h"
#include "save/workers.h"

namespace save {

// One source frame, with all that a thread needs to read it.
struct wanted_frame {
  cache::frame_key key;
  const img::format* format = nullptr;
  bool revalidate = false;
  img::lookup_table lookup;
};

// The frame of a layer at a timeline time as the pipeline will ask for it. False where there is none that can be read
// ahead: no file behind it, a movie, or a layer that bypasses the cache. `native`: before the lookup.
bool wanted_of(const ksn::track_info& track, double time, bool native, wanted_frame& wanted);

// Main thread but for the reading itself. The workers must end before this does.
class read_ahead {
 public:
  explicit read_ahead(cache::frame_cache& cache) : cache_(cache) {}
  ~read_ahead();
  read_ahead(const read_ahead&) = delete;
  read_ahead& operator=(const read_ahead&) = delete;

  // Begins to read what frame `frame` needs. Call it for the frames in their order.
  void want(int frame, const std::vector<wanted_frame>& list, workers& workers);
  // Whether all for `frame` has been read, or can't be.
  bool is_ready(int frame);
  // Waits until all for `frame` has been read; false when some of it could not be read.
  bool wait(int frame);
  // Frames up to `frame` need nothing any more. What was not in the cache before leaves it.
  void release(int frame);
  // Bytes of the pictures that are held.
  std::size_t bytes();

 private:
  struct entry {
    enum class progress { reading, read, failed } state = progress::reading;
    img::const_image_ptr image;
    int first_frame = 0;
    int last_frame = 0;
    bool was_cached = false;
  };

  void drop(const entry& entry);

  cache::frame_cache& cache_;
  std::mutex mutex_;  // guards the state and image of the entries
  std::condition_variable read_;
  std::map<cache::frame_key, std::shared_ptr<entry>> entries_;  // main thread
};

}  // namespace save
