// The one object that owns document, cache, renderer and command language, and the order in which they start.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace app {

class application {
 public:
  application();
  ~application();
  application(const application&) = delete;
  application& operator=(const application&) = delete;

  // Everything from the folder lookups to the end of the run step; returns the process exit code. `args` is UTF-8,
  // index 0 the program.
  int application_main(const std::vector<std::string>& args);

 private:
  struct impl;
  std::unique_ptr<impl> impl_;
};

}  // namespace app
