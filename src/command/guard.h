// What every operation that opens something does with the failures of the rooms below.
#pragma once

#include <new>
#include <string>

#include "command/engine.h"
#include "command/messages.h"
#include "io/exceptions.h"

namespace command {

// Runs `work` and turns what it throws into one line. `object` names what was being handled, for failures that do not
// say it themselves. False after a failure.
template <class Work>
bool guarded(engine& engine, const std::string& object, Work&& work) {
  try {
    work();
    return true;
  } catch (const io::exception& failure) {
    engine.report(about(failure.source().empty() ? object : failure.source(), failure.what(), failure.message()));
  } catch (const std::bad_alloc&) {
    engine.report(about(object, not_enough_memory));
  } catch (const std::exception& failure) {
    engine.report(about(object, failure.what()));
  }
  return false;
}

}  // namespace command
