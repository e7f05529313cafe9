// The program run from outside.
#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/temp_folder.h"

extern char** environ;

namespace support {

struct outcome {
  int code = 0;  // exit code; 1000 and the number of the signal for a process that was killed
  std::string out;
  std::string errors;

  std::vector<std::string> error_lines() const { return lines(errors); }
  std::vector<std::string> out_lines() const { return lines(out); }

 private:
  static std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> found;
    for (std::size_t i = 0; i < text.size();) {
      const std::size_t end = std::min(text.find('\n', i), text.size());
      found.push_back(text.substr(i, end - i));
      i = end + 1;
    }
    return found;
  }
};

struct run_options {
  std::string folder = "/";  // to run in
  // Added to that of the test; a variable of an empty value is taken away.
  std::map<std::string, std::string> environment;
  std::string interrupt_when;   // a file: the program gets SIGINT when it is there
  bool error_terminal = false;  // the error stream is a terminal
};

// Runs `binary` without a display, with empty folders of the user unless given, and waits for its end.
inline outcome run_program(const std::string& binary, std::vector<std::string> arguments, run_options options) {
  const temp_folder output;
  const temp_folder user;
  options.environment.insert(
      {{"DISPLAY", ""}, {"WAYLAND_DISPLAY", ""}, {"XDG_CONFIG_HOME", user.path()}, {"XDG_DATA_HOME", user.path()}});
  std::vector<std::string> variables;
  for (char** variable = environ; *variable; ++variable) {
    const std::string text = *variable;
    if (!options.environment.contains(text.substr(0, text.find('=')))) variables.push_back(text);
  }
  for (const auto& [name, value] : options.environment) {
    if (!value.empty()) variables.push_back(name + "=" + value);
  }
  arguments.insert(arguments.begin(), binary);
  const auto pointers = [](std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts) result.push_back(text.data());
    result.push_back(nullptr);
    return result;
  };
  std::string error_path = output / "errors";
  int terminal = -1;
  if (options.error_terminal) {
    terminal = posix_openpt(O_RDWR | O_NOCTTY);
    if (terminal < 0 || grantpt(terminal) != 0 || unlockpt(terminal) != 0) throw std::runtime_error("no terminal");
    error_path = ptsname(terminal);
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addchdir_np(&actions, options.folder.c_str());
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, (output / "out").c_str(), O_WRONLY | O_CREAT, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, error_path.c_str(), O_WRONLY | O_CREAT | O_NOCTTY, 0600);
  pid_t process = 0;
  const int failure =
      posix_spawn(&process, binary.c_str(), &actions, nullptr, pointers(arguments).data(), pointers(variables).data());
  posix_spawn_file_actions_destroy(&actions);
  if (failure) throw std::runtime_error("can't run " + binary + ": " + std::strerror(failure));

  outcome result;
  int status = 0;
  pid_t ended = 0;
  while (!options.interrupt_when.empty() && (ended = waitpid(process, &status, WNOHANG)) == 0) {
    if (access(options.interrupt_when.c_str(), F_OK) == 0) {
      kill(process, SIGINT);
      break;
    }
    usleep(200);
  }
  // A terminal holds only so much: it is read while the program runs.
  char block[4096];
  for (ssize_t count = 0; terminal >= 0 && (count = read(terminal, block, sizeof block)) > 0;) {
    result.errors.append(block, static_cast<std::size_t>(count));
  }
  while (ended == 0 && (ended = waitpid(process, &status, 0)) < 0 && errno == EINTR) ended = 0;
  if (terminal >= 0) close(terminal);
  result.code = WIFSIGNALED(status) ? 1000 + WTERMSIG(status) : WEXITSTATUS(status);
  result.out = read_file(output / "out");
  if (terminal < 0) result.errors = read_file(error_path);
  return result;
}

inline outcome run_program(const std::string& binary, std::vector<std::string> arguments, std::string folder,
                           std::map<std::string, std::string> environment = {}) {
  run_options options;
  options.folder = std::move(folder);
  options.environment = std::move(environment);
  return run_program(binary, std::move(arguments), std::move(options));
}

}  // namespace support
