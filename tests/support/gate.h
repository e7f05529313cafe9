// Holds threads back until the test lets them go on.
#pragma once

#include <condition_variable>
#include <mutex>

#include "support/wait.h"

namespace support {

class gate {
 public:
  // Waits for a permit. Permits go in the order of arrival, so that a thread which passed does not take that of one
  // which is still asleep.
  void pass() {
    std::unique_lock guard(lock_);
    const int turn = arrived_++;
    ++waiting_;
    changed_.wait(guard, [&] { return open_ || turn < permitted_; });
    --waiting_;
  }
  void permit(int count) {
    const std::lock_guard guard(lock_);
    permitted_ += count;
    changed_.notify_all();
  }
  void open() {
    const std::lock_guard guard(lock_);
    open_ = true;
    changed_.notify_all();
  }
  int waiting() {
    const std::lock_guard guard(lock_);
    return waiting_;
  }

 private:
  std::mutex lock_;
  std::condition_variable changed_;
  int arrived_ = 0;
  int permitted_ = 0;  // the arrivals before this one may go on
  int waiting_ = 0;
  bool open_ = false;
};

}  // namespace support
