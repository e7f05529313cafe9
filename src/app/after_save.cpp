#include "app/after_save.h"

#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <vector>

#include "command/messages.h"
#include "composition/opening/sequence.h"
#include "lib/paths.h"

extern char** environ;

namespace app {

namespace {

constexpr int look_milliseconds = 50;  // for a signal that asks to stop, while a script runs

// 0, or the errno of the failure.
int start(const std::string& script, const std::string& argument, pid_t& process) {
  std::string name = script;
  std::string path = argument;
  char* const arguments[] = {name.data(), path.data(), nullptr};
  // A script gets the signals that Kestrin passes over.
  sigset_t ignored_here;
  sigemptyset(&ignored_here);
  for (const int signal : {SIGXFSZ, SIGPIPE}) sigaddset(&ignored_here, signal);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setsigdefault(&attributes, &ignored_here);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  const int failure = posix_spawn(&process, script.c_str(), nullptr, &attributes, arguments, environ);
  posix_spawnattr_destroy(&attributes);
  return failure;
}

// Empty for a script that ended well.
std::string failure_of(int status) {
  if (WIFSIGNALED(status)) return "Ended by signal " + std::to_string(WTERMSIG(status));
  if (WEXITSTATUS(status) != 0) return "Exit code " + std::to_string(WEXITSTATUS(status));
  return {};
}

void wait_for(pid_t process) {
  const int handle = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
  pollfd ended{handle, POLLIN, 0};
  ::poll(&ended, 1, look_milliseconds);
  if (handle >= 0) close(handle);
}

}  // namespace

void after_save_scripts::add(const std::string& folder, const std::string& saved_path) {
  std::vector<std::string> names;
  if (lib::list_folder(folder, "*", &names, nullptr) != 0) return;
  ksn::natural_sort(names);
  for (const std::string& name : names) {
    const std::string script = lib::add_separator(folder) + name;
    if (access(script.c_str(), X_OK) == 0) jobs_.push_back({script, saved_path});
  }
  poll();
}

void after_save_scripts::start_next() {
  while (process_ == 0 && !jobs_.empty()) {
    const int failure = start(jobs_.front().script, jobs_.front().argument, process_);
    if (failure == 0) return;
    process_ = 0;
    tell(std::string("Could not be started: ") + std::strerror(failure));
    jobs_.pop_front();
  }
}

void after_save_scripts::poll() {
  start_next();
  int status = 0;
  // -1: it has ended, and how is not to be heard.
  while (process_ != 0 && waitpid(process_, &status, WNOHANG) != 0) {
    if (const std::string failure = failure_of(status); !failure.empty()) tell(failure);
    process_ = 0;
    status = 0;
    jobs_.pop_front();
    start_next();
  }
}

void after_save_scripts::finish(const std::function<bool()>& stop) {
  for (poll(); process_ != 0; poll()) {
    if (stop()) {
      tell("Still running; not waited for");
      process_ = 0;
      jobs_.clear();
      return;
    }
    wait_for(process_);
  }
}

void after_save_scripts::tell(const std::string& text) {
  report_(command::about(jobs_.front().script, text));
}

}  // namespace app
