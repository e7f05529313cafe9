// Ctrl+C, and the signals that end a session: the first one asks long work to stop and the window to close, a second
// one of its kind ends the process.
#pragma once

namespace app {

// A signal that the process ignores stays ignored.
void watch_interrupt();
bool interrupted();
// From now on a write to a pipe or socket that nobody reads any more fails, and does not end the process: a window
// lives longer than the command that took its output.
void outlive_readers();
// The exit code of an interrupted process, as a shell counts it: 128 and the signal's number.
int interrupt_status();

}  // namespace app
