// Decoding ahead: four workers walk tasks frame by frame into the frame cache.
//
// A worker takes one task at a time, in the order of arrival, and reads its frames in ascending order; it stops all
// preloading when memory is full. Nothing follows the play head, and nothing starts again by itself. What fails is
// passed over without a word: whoever asks for that frame meets the failure again and reports it.
#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "cache/frame_cache.h"
#include "composition/state.h"

namespace cache {

// One per process. The functions belong to the main thread; the workers start with the first task and live until
// shutdown(). The cache must outlive them.
class preloader {
 public:
  static constexpr int workers = 4;

  explicit preloader(frame_cache& cache) : cache_(cache) {}
  // Shuts down. A worker that is still in a read then is waited for.
  ~preloader();
  preloader(const preloader&) = delete;
  preloader& operator=(const preloader&) = delete;

  // Queues source frames `first` to `last` - 1 of a copy of the layer; nothing for an empty range or after shutdown().
  void preload_range(const ksn::track_info& layer, int first, int last);
  // Queues the source frames that the layer shows in timeline frames `from` to `to` - 1. Nothing for a layer without
  // cache, a still, or a layer without frames of its own.
  void preload_layer_over(const ksn::track_info& layer, int from, int to);
  // After a gesture that changed the work area: cancels all, lets `keep_alive` touch what the loop needs, makes room
  // well below the memory limit and queues the visible layers from the play head to the end of the work area.
  void preload_after_gesture(const ksn::state& composition, const std::function<void()>& keep_alive);

  // Drops the queued tasks of a layer, and takes them from the workers that hold one; the frames at hand are finished.
  void cancel_layer(int layer_id);
  // The same for all tasks. Never waits.
  void stop();
  // The resolution of the frames that are read from now on.
  void set_resolution(ksn::cache_resolution_type resolution);

  // Ends the workers: waits `first_wait` for the first of them and `other_wait` for each other one. False when one is
  // still in a read, which the end of the process may cut short. Nothing can be queued afterwards.
  bool shutdown(std::chrono::milliseconds first_wait = std::chrono::milliseconds(4000),
                std::chrono::milliseconds other_wait = std::chrono::milliseconds(1000));

  // Tasks that wait or are in work, and threads that were started.
  int pending_tasks();
  int started_workers();

 private:
  struct task {
    ksn::track_info layer;  // as it stood when the task was made
    int next = 0;           // source frame; only the worker that holds the task touches it
    int end = 0;
  };
  using task_ptr = std::shared_ptr<task>;
  struct worker {
    std::thread thread;
    std::condition_variable wake;  // with `signalled`: an event that resets itself
    bool signalled = false;        // lock_
    task_ptr running;              // lock_
    bool ended = false;            // lock_
  };

  void run(worker& self);
  task_ptr take_task(worker& self);
  void read_next(task& task);
  void start_locked(std::unique_ptr<worker>& slot);
  template <class Matches>
  void cancel(const Matches& matches);
  void signal_all_locked();

  frame_cache& cache_;
  std::mutex lock_;                  // never held during a read, nor together with a lock of the cache
  std::vector<task_ptr> task_list_;  // lock_
  bool stop_flag_ = false;           // lock_
  ksn::cache_resolution_type resolution_ = ksn::cache_resolution_type::full;  // lock_
  std::condition_variable worker_ended_;                                      // with worker::ended
  std::array<std::unique_ptr<worker>, workers> worker_;                       // made by the main thread
};

}  // namespace cache
