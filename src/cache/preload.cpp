#include "cache/preload.h"

#include <algorithm>
#include <cmath>
#include <system_error>

#include "cache/track_frame.h"

namespace cache {
namespace {

constexpr std::chrono::milliseconds pause_between_frames(2);

bool has_frames_to_read(const ksn::track_info& layer) {
  return layer.source.type == ksn::source_type::sequence || layer.source.is_clip();
}

// Of a layer with `frames` source frames. A retime near 0 makes positions that no integer holds, and one of 0 none.
int nearest_frame(double position, int frames) {
  return position > 0.0 ? static_cast<int>(std::min(std::rint(position), static_cast<double>(frames))) : 0;
}

}  // namespace

preloader::~preloader() {
  shutdown();
  for (const auto& worker : worker_) {
    if (worker && worker->thread.joinable()) worker->thread.join();
  }
}

void preloader::preload_range(const ksn::track_info& layer, int first, int last) {
  if (first >= last) return;
  auto queued = std::make_shared<task>(task{layer, first, last});
  const std::lock_guard guard(lock_);
  if (stop_flag_) return;
  task_list_.push_back(std::move(queued));
  for (auto& slot : worker_) {
    if (!slot) start_locked(slot);
  }
  signal_all_locked();
}

void preloader::start_locked(std::unique_ptr<worker>& slot) {
  slot = std::make_unique<worker>();
  try {
    slot->thread = std::thread([this, &self = *slot] { run(self); });
  } catch (const std::system_error&) {
    slot.reset();  // the other workers do its work
  }
}

void preloader::preload_layer_over(const ksn::track_info& layer, int from, int to) {
  if (layer.source.disable_cache || !has_frames_to_read(layer)) return;
  const long long first = std::max<long long>(static_cast<long long>(from) - layer.timing.begin, layer.in());
  const long long last =
      std::min<long long>({static_cast<long long>(to) - layer.timing.begin, layer.out(), layer.length()});
  if (first >= last) return;
  preload_range(layer, nearest_frame(static_cast<double>(first) / layer.timing.retime, layer.source.frames),
                nearest_frame(static_cast<double>(last) / layer.timing.retime, layer.source.frames));
}

void preloader::preload_after_gesture(const ksn::state& composition, const std::function<void()>& keep_alive) {
  stop();
  if (keep_alive) keep_alive();
  for (int i = 0; i < 32; ++i) cache_.trim(cache_.memory_reserve_percent + 30);
  const int from = std::max(composition.doc.tm_f, static_cast<int>(composition.doc.tm_t));
  for (const ksn::track_info& track : composition.doc.tracks) {
    if (track.look.visible) preload_layer_over(track, from, composition.doc.tm_l);
  }
}

void preloader::cancel_layer(int layer_id) {
  cancel([&](const task& queued) { return queued.layer.id == layer_id; });
}

void preloader::stop() {
  cancel([](const task&) { return true; });
}

template <class Matches>
void preloader::cancel(const Matches& matches) {
  std::vector<task_ptr> cancelled;  // let go of outside the lock: a task may hold the last reference to a clip
  const std::lock_guard guard(lock_);
  const auto take = [&](task_ptr& from) {
    if (!from || !matches(*from)) return;
    cancelled.push_back(std::move(from));
    from.reset();
  };
  for (task_ptr& queued : task_list_) take(queued);
  std::erase(task_list_, nullptr);
  for (const auto& worker : worker_) {
    if (worker) take(worker->running);
  }
}

void preloader::set_resolution(ksn::cache_resolution_type resolution) {
  const std::lock_guard guard(lock_);
  resolution_ = resolution;
}

bool preloader::shutdown(std::chrono::milliseconds first_wait, std::chrono::milliseconds other_wait) {
  stop();
  std::unique_lock guard(lock_);
  stop_flag_ = true;
  signal_all_locked();
  bool all_ended = true;
  for (const auto& worker : worker_) {
    if (!worker) continue;
    const auto wait = &worker == &worker_.front() ? first_wait : other_wait;
    all_ended &= worker_ended_.wait_for(guard, wait, [&] { return worker->ended; });
  }
  return all_ended;
}

int preloader::pending_tasks() {
  const std::lock_guard guard(lock_);
  return static_cast<int>(task_list_.size()) +
         static_cast<int>(std::count_if(worker_.begin(), worker_.end(),
                                        [](const auto& worker) { return worker && worker->running; }));
}

int preloader::started_workers() {
  const std::lock_guard guard(lock_);
  return static_cast<int>(std::count_if(worker_.begin(), worker_.end(), [](const auto& worker) { return !!worker; }));
}

void preloader::signal_all_locked() {
  for (const auto& worker : worker_) {
    if (!worker) continue;
    worker->signalled = true;
    worker->wake.notify_one();
  }
}

// The task in the worker's hands, else the first of the list; null when the workers shall end.
preloader::task_ptr preloader::take_task(worker& self) {
  std::unique_lock guard(lock_);
  while (!stop_flag_) {
    if (!self.running && !task_list_.empty()) {
      self.running = std::move(task_list_.front());
      task_list_.erase(task_list_.begin());
    }
    if (self.running) return self.running;
    self.wake.wait(guard, [&] { return self.signalled; });
    self.signalled = false;
  }
  return nullptr;
}

void preloader::run(worker& self) {
  while (const task_ptr current = take_task(self)) {
    if (cache_.memory_load() >= 100 - cache_.memory_reserve_percent) {
      stop();
    } else {
      read_next(*current);
      if (current->next >= current->end) {
        const std::lock_guard guard(lock_);
        self.running.reset();
      }
    }
    std::this_thread::sleep_for(pause_between_frames);
  }
  const std::lock_guard guard(lock_);
  self.ended = true;
  worker_ended_.notify_all();
}

void preloader::read_next(task& task) {
  const int frame = task.next++;
  if (frame < 0 || task.layer.source.disable_cache || !has_frames_to_read(task.layer)) return;
  ksn::cache_resolution_type resolution;
  {
    const std::lock_guard guard(lock_);
    resolution = resolution_;
  }
  try {
    fetch_frame(cache_, task.layer, frame, key_of_frame(task.layer, frame, resolution), false);
  } catch (...) {
    // Whoever asks for the frame on the main thread will meet the same failure, and report it.
  }
}

}  // namespace cache
