// The program run from outside, to its end.
#pragma once

#include <stdlib.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/process.h"
#include "support/temp_folder.h"

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
inline outcome run_program(const std::string& binary, std::vector<std::string> arguments, const run_options& options) {
  const temp_folder output;
  const temp_folder user;
  process_options started{options.folder, options.environment, output / "out", output / "errors"};
  started.environment.insert(
      {{"DISPLAY", ""}, {"WAYLAND_DISPLAY", ""}, {"XDG_CONFIG_HOME", user.path()}, {"XDG_DATA_HOME", user.path()}});
  int terminal = -1;
  if (options.error_terminal) {
    terminal = posix_openpt(O_RDWR | O_NOCTTY);
    if (terminal < 0 || grantpt(terminal) != 0 || unlockpt(terminal) != 0) throw std::runtime_error("no terminal");
    started.errors = ptsname(terminal);
  }
  arguments.insert(arguments.begin(), binary);
  process program(std::move(arguments), started);

  outcome result;
  while (!options.interrupt_when.empty() && program.running()) {
    if (access(options.interrupt_when.c_str(), F_OK) == 0) {
      program.send(SIGINT);
      break;
    }
    usleep(200);
  }
  // A terminal holds only so much: it is read while the program runs.
  char block[4096];
  for (ssize_t count = 0; terminal >= 0 && (count = read(terminal, block, sizeof block)) > 0;) {
    result.errors.append(block, static_cast<std::size_t>(count));
  }
  result.code = program.wait();
  if (terminal >= 0) close(terminal);
  result.out = read_file(output / "out");
  if (terminal < 0) result.errors = read_file(started.errors);
  return result;
}

inline outcome run_program(const std::string& binary, std::vector<std::string> arguments, std::string folder,
                           std::map<std::string, std::string> environment = {}) {
  run_options options;
  options.folder = std::move(folder);
  options.environment = std::move(environment);
  return run_program(binary, std::move(arguments), options);
}

}  // namespace support
