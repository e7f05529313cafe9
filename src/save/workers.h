// Threads that read ahead and write behind while the main thread composites.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace save {

// Tasks begin in the order in which they come, all writes before any read: what is written frees its memory. Tasks must
// not throw; their parallel loops run on one thread, since the tasks themselves fill the processors. Without any
// thread, as where the system refuses them, a task runs at once where it is added.
class workers {
 public:
  explicit workers(int count);
  // Waits for the tasks that have begun and drops all others.
  ~workers();
  workers(const workers&) = delete;
  workers& operator=(const workers&) = delete;

  void add_write(std::function<void()> task) { add(writes_, std::move(task)); }
  void add_read(std::function<void()> task) { add(reads_, std::move(task)); }
  // Whether a worker has nothing to do.
  bool any_idle();

 private:
  using queue = std::deque<std::function<void()>>;
  void add(queue& to, std::function<void()> task);
  void run();

  std::mutex mutex_;  // guards all but the threads
  std::condition_variable wake_;
  queue writes_;
  queue reads_;
  int busy_ = 0;
  bool ending_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace save
