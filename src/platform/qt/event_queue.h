// Events of the user on their way out of the toolkit.
#pragma once

#include <deque>
#include <functional>
#include <utility>

namespace platform {

// The program's answer to an event may open a menu or a dialog, whose own loop must not run inside of the toolkit's
// delivery of that event: clock and hand-over would stand still. So events wait here until that is over. Main thread.
class event_queue {
 public:
  void push(std::function<void()> event) { waiting_.push_back(std::move(event)); }
  bool empty() const { return waiting_.empty(); }
  // Carries out what waits, in its order.
  void run() {
    while (!waiting_.empty()) {
      const std::function<void()> event = std::move(waiting_.front());
      waiting_.pop_front();
      event();
    }
  }
  void clear() { waiting_.clear(); }

 private:
  std::deque<std::function<void()>> waiting_;
};

}  // namespace platform
