#include "ui/presenter.h"

#include <algorithm>
#include <chrono>

#include "img/row_kernels.h"
#include "lib/parallel.h"

namespace ui {
namespace {

constexpr std::chrono::milliseconds thread_patience(400);

std::uint32_t steady_milliseconds() {
  using namespace std::chrono;
  return static_cast<std::uint32_t>(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

// Rows of blue, green, red and a fourth byte.
void join_rows(const img::image& image, std::uint8_t* pixels, std::ptrdiff_t stride) {
  const img::row_kernels& rows = img::active_row_kernels();
  const auto width = static_cast<std::size_t>(image.width);
  // The fourth byte is not looked at; the blue plane is at hand in any case.
  const int fourth = image.has_plane(3) ? 3 : 0;
  lib::parallel_rows(image.height, 4LL * image.width * image.height, [&](int top, int bottom) {
    for (int y = top; y < bottom; ++y) {
      rows.join4(image.row(0, y), image.row(1, y), image.row(2, y), image.row(fourth, y), pixels + y * stride, width);
    }
  });
}

}  // namespace

struct presenter::shared {
  std::mutex lock;  // `offscreen` and every blit
  std::shared_ptr<surface> offscreen;

  std::mutex event_lock;  // everything below
  std::condition_variable request;
  std::condition_variable thread_ended;
  bool requested = false;
  bool done = false;
  bool ending = false;
  bool ended = false;
  present_mode pending_mode = present_mode::threaded_wait_blank;
  std::uint32_t last_present = 0;
  millisecond_clock milliseconds;
};

present_mode mode_for(bool vsync, int sub_mode) {
  if (!vsync) return present_mode::immediate;
  if (sub_mode == 1) return present_mode::threaded_wait_blank;
  if (sub_mode == 2) return present_mode::threaded_poll_blank;
  return present_mode::no_tearing;
}

presenter::presenter(std::shared_ptr<display> display, millisecond_clock milliseconds)
    : display_(std::move(display)),
      milliseconds_(milliseconds ? std::move(milliseconds) : steady_milliseconds),
      shared_(std::make_shared<shared>()) {
  shared_->milliseconds = milliseconds_;
}

int presenter::start() {
  const int error = display_->create();
  ready_ = error == 0;
  return error;
}

void presenter::resize(int width, int height) {
  auto fresh = std::make_shared<surface>();
  fresh->width = std::max(width, 1);
  fresh->height = std::max(height, 1);
  fresh->pixels = std::make_unique<std::uint8_t[]>(static_cast<std::size_t>(fresh->width) *
                                                   static_cast<std::size_t>(fresh->height) * 4);
  const std::lock_guard guard(shared_->lock);
  shared_->offscreen = std::move(fresh);
}

int presenter::take_picture(const img::image& image) {
  if (!ready_) return error_not_ready;
  if (const int error = display_->restore(); error != 0) return error;
  const std::lock_guard guard(shared_->lock);
  if (!shared_->offscreen) return error_no_offscreen;
  if (image.width != shared_->offscreen->width || image.height != shared_->offscreen->height) return error_size;
  join_rows(image, shared_->offscreen->pixels.get(), 4 * static_cast<std::ptrdiff_t>(image.width));
  return 0;
}

bool presenter::present_directly(const img::image& image) {
  if (!ready_ || display_->restore() != 0 || display_->is_minimised() || !display_->window_exists()) return false;
  const auto write = [&](std::uint8_t* pixels, std::ptrdiff_t stride) { join_rows(image, pixels, stride); };
  if (!display_->write(image.width, image.height, write)) return false;
  const std::lock_guard guard(shared_->event_lock);
  shared_->done = true;
  shared_->last_present = milliseconds_();
  return true;
}

int presenter::present_picture(const img::image& image, present_mode mode) {
  const int error = take_picture(image);
  return error != 0 ? error : present(mode);
}

int presenter::present(present_mode mode) {
  if (!ready_) return error_no_primary;
  if (display_->is_minimised()) return 0;
  {
    const std::lock_guard guard(shared_->lock);
    if (!shared_->offscreen) return error_no_offscreen;
  }
  if (!display_->window_exists()) return error_no_window;
  if (!is_threaded(mode)) return wait_and_blit(*display_, *shared_, mode);

  const std::lock_guard guard(shared_->event_lock);
  // The thread starts with the first picture that needs it.
  if (!thread_.joinable()) thread_ = std::thread([display = display_, state = shared_] { run(*display, state); });
  shared_->pending_mode = mode;
  shared_->requested = true;
  shared_->request.notify_one();
  return 0;
}

int presenter::wait_and_blit(display& display, shared& shared, present_mode mode) {
  if (mode == present_mode::wait_blank) display.wait_vertical_blank();
  if (mode == present_mode::poll_blank) {
    // A line above the last one read means that the beam has started again.
    std::optional<int> line = display.scan_line();
    while (line) {
      std::this_thread::yield();
      const std::optional<int> next = display.scan_line();
      if (!next || *next < *line) break;
      line = next;
    }
  }
  int error = 0;
  {
    const std::lock_guard guard(shared.lock);
    error = shared.offscreen ? display.blit(shared.offscreen, mode != present_mode::immediate) : error_no_offscreen;
  }
  const std::lock_guard guard(shared.event_lock);
  shared.done = true;
  shared.last_present = shared.milliseconds();
  return error;
}

void presenter::run(display& display, const std::shared_ptr<shared>& shared) {
  std::unique_lock guard(shared->event_lock);
  for (;;) {
    shared->request.wait(guard, [&] { return shared->requested || shared->ending; });
    if (shared->ending) break;
    shared->requested = false;
    const present_mode mode =
        shared->pending_mode == present_mode::threaded_poll_blank ? present_mode::poll_blank : present_mode::wait_blank;
    guard.unlock();
    wait_and_blit(display, *shared, mode);
    display.wake();
    guard.lock();
  }
  shared->ended = true;
  shared->thread_ended.notify_all();
}

bool presenter::wait_done(int milliseconds) {
  const auto take = [this] {
    const std::lock_guard guard(shared_->event_lock);
    return std::exchange(shared_->done, false);
  };
  if (take()) return true;
  display_->wait_events(milliseconds);
  return take();
}

std::uint32_t presenter::last_present() {
  const std::lock_guard guard(shared_->event_lock);
  return shared_->last_present;
}

void presenter::shut_down() {
  ready_ = false;
  if (thread_.joinable()) {
    std::unique_lock guard(shared_->event_lock);
    shared_->ending = true;
    shared_->request.notify_all();
    const bool ended = shared_->thread_ended.wait_for(guard, thread_patience, [this] { return shared_->ended; });
    guard.unlock();
    // One that hangs in the display ends with the process.
    if (ended) {
      thread_.join();
    } else {
      thread_.detach();
    }
  }
  const std::lock_guard guard(shared_->lock);
  shared_->offscreen.reset();
}

}  // namespace ui
