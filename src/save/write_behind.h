// Pictures that wait to be written, and their results in the order of the frames.
#pragma once

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

#include "cache/reading/frame_scheduler.h"
#include "save/picture_file.h"

namespace save {

// Main thread but for the writing itself, which the threads that read frames do.
class write_behind {
 public:
  write_behind() = default;
  // Waits for what is being written, and writes nothing else.
  ~write_behind();
  write_behind(const write_behind&) = delete;
  write_behind& operator=(const write_behind&) = delete;

  struct result {
    bool written = false;
    std::string line;  // of a failure
  };

  void add(picture picture, std::string path, const img::format& format, const img::save_options& options,
           cache::frame_scheduler& threads);
  // Takes the oldest result when it is there, or waits for it; false when none is there, or none will come.
  bool take(result& result, bool wait);
  int pending() const { return static_cast<int>(items_.size()); }
  // Writes that have not started are dropped; they have no result.
  void abandon();

 private:
  struct item {
    bool begun = false;
    bool done = false;
    bool abandoned = false;
    result outcome;
  };

  std::mutex mutex_;  // guards the items themselves
  std::condition_variable done_;
  int tasks_ = 0;                            // mutex_: handed over and not ended
  std::deque<std::shared_ptr<item>> items_;  // oldest first; main thread
};

}  // namespace save
