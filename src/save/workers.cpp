#include "save/workers.h"

#include <system_error>
#include <utility>

#include "lib/parallel.h"

namespace save {

workers::workers(int count) {
  try {
    for (int i = 0; i < count; ++i) threads_.emplace_back([this] { run(); });
  } catch (const std::system_error&) {
    // The threads that there are do the work of those that the system refuses.
  }
}

workers::~workers() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  wake_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

bool workers::any_idle() {
  const std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(busy_) + writes_.size() + reads_.size() < threads_.size();
}

void workers::add(queue& to, std::function<void()> task) {
  if (threads_.empty()) {
    task();
    return;
  }
  {
    const std::lock_guard lock(mutex_);
    to.push_back(std::move(task));
  }
  wake_.notify_one();
}

void workers::run() {
  const lib::single_thread_scope alone;
  std::unique_lock lock(mutex_);
  for (;;) {
    wake_.wait(lock, [this] { return ending_ || !writes_.empty() || !reads_.empty(); });
    if (ending_) return;
    queue& from = writes_.empty() ? reads_ : writes_;
    std::function<void()> task = std::move(from.front());
    from.pop_front();
    ++busy_;
    lock.unlock();
    task();
    task = nullptr;  // what it holds goes before the task counts as done
    lock.lock();
    --busy_;
  }
}

}  // namespace save
