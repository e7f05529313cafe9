// Previews of files for the dialogs that open them, made one at a time on a thread of their own.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "platform/open_form.h"

namespace app {

// Outlives the dialogs, so that none of them waits for a slow file when it closes. Calls come from one thread.
class preview_maker {
 public:
  using make_function = std::function<platform::open_preview(const std::string& path, int width, int height)>;
  using done_function = std::function<void(platform::open_preview made)>;

  // `make` is called on the maker's thread and must not throw.
  explicit preview_maker(make_function make) : make_(std::move(make)) {}
  // Waits for the preview at hand. A program that must not wait for a file that hangs calls shutdown() and exits.
  ~preview_maker();
  preview_maker(const preview_maker&) = delete;
  preview_maker& operator=(const preview_maker&) = delete;

  // Replaces what was asked for and not begun. `done` is called on the maker's thread. Nothing happens where there is
  // no thread to be had.
  void ask(const std::string& path, int width, int height, done_function done);
  // Begins no more. False when the preview at hand is not done within `wait`.
  bool shutdown(std::chrono::milliseconds wait);

 private:
  struct request {
    std::string path;
    int width = 0;
    int height = 0;
    done_function done;
  };
  void work();

  const make_function make_;
  std::mutex lock_;  // guards what follows
  std::condition_variable changed_;
  std::optional<request> wanted_;
  bool working_ = false;
  bool ending_ = false;
  std::thread thread_;  // from the first request on
};

}  // namespace app
