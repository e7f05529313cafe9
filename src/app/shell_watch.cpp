#include "app/shell_watch.h"

#include <sys/wait.h>

#include <algorithm>
#include <thread>

#include "command/messages.h"

namespace app {
namespace {

using clock = std::chrono::steady_clock;

// What ends later than that did its work first.
constexpr std::chrono::seconds soon(3);

}  // namespace

void shell_watch::add(pid_t process, const std::string& path, const std::string& failure) {
  started_.push_back({process, path, failure, clock::now()});
}

void shell_watch::poll() {
  std::vector<std::string> lines;
  std::erase_if(started_, [&](const started& one) {
    int status = 0;
    if (waitpid(one.process, &status, WNOHANG) == 0) return false;
    if (WIFEXITED(status) && WEXITSTATUS(status) != 0 && clock::now() - one.begin < soon)
      lines.push_back(
          command::about(one.path, one.failure + " (exit code " + std::to_string(WEXITSTATUS(status)) + ")"));
    return true;
  });
  for (const std::string& line : lines) report_(line);
}

bool shell_watch::may_fail() const {
  return std::ranges::any_of(started_, [](const started& one) { return clock::now() - one.begin < soon; });
}

void shell_watch::finish(const std::function<bool()>& stop) {
  for (poll(); may_fail() && !stop(); poll()) std::this_thread::sleep_for(std::chrono::milliseconds(20));
}

}  // namespace app
