// The one object that owns document, cache, renderer and command language, and the order in which they start.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace app {

// Says that there is too little memory to start, without asking for any; returns the exit code for it.
int fail_without_memory();

// One per process in the program; tests may build several, one after the other. Main thread.
class application {
 public:
  application();
  ~application();
  application(const application&) = delete;
  application& operator=(const application&) = delete;

  // Everything from the hand-over of the line to the end of the run step; returns the process exit code: 0, 1 after
  // `--exit=status` with an error line, 128 and the signal's number after an interrupt, -1 when no window can be
  // opened. `args` is UTF-8, index 0 the program.
  int application_main(const std::vector<std::string>& args);

 private:
  struct impl;
  std::unique_ptr<impl> impl_;
};

}  // namespace app
