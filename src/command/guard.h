// How every operation that opens something turns the failures of the rooms below into error lines.
#pragma once

#include <exception>
#include <string>

#include "command/engine.h"
#include "io/failure.h"

namespace command {

// Runs `work`; what it throws is reported as one line. `object` names what was being handled, for failures that do not
// say it themselves. False after a failure.
template <class Work>
bool reported(engine& engine, const std::string& object, Work&& work) {
  try {
    work();
    return true;
  } catch (const std::exception&) {
    engine.report(io::failure_line(object));
  }
  return false;
}

}  // namespace command
