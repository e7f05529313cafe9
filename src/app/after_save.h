// The user's scripts that run after each save.
#pragma once

#include <sys/types.h>

#include <deque>
#include <functional>
#include <string>

namespace app {

// Main thread. A failure is one line to `report`.
class after_save_scripts {
 public:
  explicit after_save_scripts(std::function<void(const std::string& line)> report) : report_(std::move(report)) {}

  // Every executable file of `folder` is to run with `saved_path` as its argument, one after the other in natural
  // order, after those of the saves before. Starts the first.
  void add(const std::string& folder, const std::string& saved_path);
  // Sees whether the one that runs has ended, and starts the next. Does not wait.
  void poll();
  // Waits until all have ended, or until `stop` is true: then the one that runs goes on by itself and no other begins.
  void finish(const std::function<bool()>& stop);

 private:
  struct job {
    std::string script;
    std::string argument;
  };

  void start_next();
  void tell(const std::string& text);

  std::function<void(const std::string& line)> report_;
  std::deque<job> jobs_;  // the first one runs
  pid_t process_ = 0;
};

}  // namespace app
