#include "app/preview_maker.h"

#include <system_error>
#include <utility>

namespace app {

preview_maker::~preview_maker() {
  shutdown(std::chrono::milliseconds(0));
  if (thread_.joinable()) thread_.join();
}

void preview_maker::ask(const std::string& path, int width, int height, done_function done) {
  request asked{path, width, height, std::move(done)};
  {
    const std::lock_guard guard(lock_);
    if (ending_) return;
    wanted_ = std::move(asked);
  }
  changed_.notify_all();
  if (thread_.joinable()) return;
  try {
    thread_ = std::thread([this] { work(); });
  } catch (const std::system_error&) {
    // The dialog works without; the next row tries again.
  }
}

bool preview_maker::shutdown(std::chrono::milliseconds wait) {
  std::unique_lock guard(lock_);
  ending_ = true;
  wanted_.reset();
  changed_.notify_all();
  return changed_.wait_for(guard, wait, [this] { return !working_; });
}

void preview_maker::work() {
  std::unique_lock guard(lock_);
  for (;;) {
    changed_.wait(guard, [this] { return ending_ || wanted_; });
    if (ending_) return;
    request asked = std::move(*wanted_);
    wanted_.reset();
    working_ = true;
    guard.unlock();
    asked.done(make_(asked.path, asked.width, asked.height));
    asked = {};
    guard.lock();
    working_ = false;
    changed_.notify_all();
  }
}

}  // namespace app
