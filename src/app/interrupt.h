// Ctrl+C, and the signals that end a session: the first one asks long work to stop and the window to close, a second
// one of its kind ends the process.
#pragma once

namespace app {

// A signal that the process ignores stays ignored.
void watch_interrupt();
bool interrupted();
// The exit code of an interrupted process, as a shell counts it: 128 and the signal's number.
int interrupt_status();

}  // namespace app
