// A program that runs beside the test.
#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/wait.h"

extern char** environ;

namespace support {

struct process_options {
  std::string folder = "/";  // to run in
  // Added to that of the test; a variable of an empty value is taken away.
  std::map<std::string, std::string> environment;
  std::string output;  // files
  std::string errors;
  int inherited = -1;  // becomes descriptor 9
};

// Killed at the end of its life if it is still there.
class process {
 public:
  process() = default;
  process(std::vector<std::string> command, const process_options& options) {
    std::vector<std::string> variables;
    for (char** variable = environ; *variable; ++variable) {
      const std::string text = *variable;
      if (!options.environment.contains(text.substr(0, text.find('=')))) variables.push_back(text);
    }
    for (const auto& [name, value] : options.environment) {
      if (!value.empty()) variables.push_back(name + "=" + value);
    }
    const auto pointers = [](std::vector<std::string>& texts) {
      std::vector<char*> result;
      for (std::string& text : texts) result.push_back(text.data());
      result.push_back(nullptr);
      return result;
    };
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addchdir_np(&actions, options.folder.c_str());
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    constexpr int writing = O_WRONLY | O_CREAT | O_TRUNC | O_NOCTTY;
    posix_spawn_file_actions_addopen(&actions, 1, options.output.c_str(), writing, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, options.errors.c_str(), writing, 0600);
    if (options.inherited >= 0) posix_spawn_file_actions_adddup2(&actions, options.inherited, 9);
    const int failure =
        posix_spawnp(&id_, command[0].c_str(), &actions, nullptr, pointers(command).data(), pointers(variables).data());
    posix_spawn_file_actions_destroy(&actions);
    if (failure) throw std::runtime_error("can't run " + command[0] + ": " + std::strerror(failure));
  }
  ~process() {
    if (id_ > 0) {
      kill(id_, SIGKILL);
      wait();
    }
  }
  process(process&& other) noexcept : id_(std::exchange(other.id_, 0)), code_(other.code_) {}
  process& operator=(process&& other) noexcept {
    std::swap(id_, other.id_);
    std::swap(code_, other.code_);
    return *this;
  }

  pid_t id() const { return id_; }
  void send(int signal) const { kill(id_, signal); }
  bool running() {
    int status = 0;
    if (id_ > 0 && waitpid(id_, &status, WNOHANG) == id_) end(status);
    return id_ > 0;
  }
  // The exit code, or 1000 and the number of the signal that ended it.
  int wait() {
    int status = 0;
    while (id_ > 0 && waitpid(id_, &status, 0) < 0 && errno == EINTR) {
    }
    if (id_ > 0) end(status);
    return code_;
  }
  // The same; -1 when it does not end.
  int wait_for_end() {
    return wait_until([this] { return !running(); }) ? code_ : -1;
  }

 private:
  pid_t id_ = 0;
  int code_ = -1;

  void end(int status) {
    id_ = 0;
    code_ = WIFSIGNALED(status) ? 1000 + WTERMSIG(status) : WEXITSTATUS(status);
  }
};

}  // namespace support
