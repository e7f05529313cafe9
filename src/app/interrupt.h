// Ctrl+C: the first one asks long work to stop, the second one ends the process.
#pragma once

namespace app {

// Leaves a process that ignores the signal alone.
void watch_interrupt();
bool interrupted();

}  // namespace app
