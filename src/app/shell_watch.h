// What becomes of programs of the desktop that were asked to do something.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace app {

// Main thread. Those that end soon and not well are one line to `report`: the desktop had nothing for the file. One
// that goes on is the user's, and left alone.
class shell_watch {
 public:
  explicit shell_watch(std::function<void(const std::string& line)> report) : report_(std::move(report)) {}

  // `path` is what the process was given, `failure` what is said of it when it fails.
  void add(pid_t process, const std::string& path, const std::string& failure);
  // Does not wait.
  void poll();
  // Waits for those that may still fail, or until `stop` is true.
  void finish(const std::function<bool()>& stop);

 private:
  struct started {
    pid_t process;
    std::string path;
    std::string failure;
    std::chrono::steady_clock::time_point begin;
  };

  bool may_fail() const;

  std::function<void(const std::string& line)> report_;
  std::vector<started> started_;
};

}  // namespace app
