// The program run from outside.
#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
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

// Runs `binary` in `folder` and waits. There is no display; `environment` is added to that of the test. Variables of
// an empty value are taken away.
inline outcome run_program(const std::string& binary, std::vector<std::string> arguments, const std::string& folder,
                           std::map<std::string, std::string> environment = {}) {
  const temp_folder output;
  environment.insert({{"DISPLAY", ""}, {"WAYLAND_DISPLAY", ""}});
  std::vector<std::string> variables;
  for (char** variable = environ; *variable; ++variable) {
    const std::string text = *variable;
    if (!environment.contains(text.substr(0, text.find('=')))) variables.push_back(text);
  }
  for (const auto& [name, value] : environment) {
    if (!value.empty()) variables.push_back(name + "=" + value);
  }
  arguments.insert(arguments.begin(), binary);
  const auto pointers = [](std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts) result.push_back(text.data());
    result.push_back(nullptr);
    return result;
  };
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, (output / "out").c_str(), O_WRONLY | O_CREAT, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, (output / "errors").c_str(), O_WRONLY | O_CREAT, 0600);
  pid_t process = 0;
  const int failure =
      posix_spawn(&process, binary.c_str(), &actions, nullptr, pointers(arguments).data(), pointers(variables).data());
  posix_spawn_file_actions_destroy(&actions);
  if (failure) throw std::runtime_error("can't run " + binary + ": " + std::strerror(failure));
  int status = 0;
  while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  outcome result;
  result.code = WIFSIGNALED(status) ? 1000 + WTERMSIG(status) : WEXITSTATUS(status);
  result.out = read_file(output / "out");
  result.errors = read_file(output / "errors");
  return result;
}

}  // namespace support
