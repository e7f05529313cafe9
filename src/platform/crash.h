// What the process leaves behind when it ends by a fatal signal.
#pragma once

#include <string>

namespace platform {

// From here on SIGSEGV, SIGBUS, SIGILL, SIGFPE and SIGABRT write a trace: the version, the signal and its address, the
// calls of the thread, and the modules at their addresses. It goes to a file `crash-DATE-PROCESS.txt` in `folder`,
// which is made when it comes to that, and a line on the error stream names the file; with no folder the trace itself
// goes to the error stream. What of it can't be told, as the calls on a broken stack, is left out. Then the process
// ends by the signal, as it would have. A signal that somebody handles already is left to them. Main thread; a later
// call changes text and folder.
void watch_crashes(const std::string& version, const std::string& folder);

// A sentence that the line on the error stream ends with, as "The composition is ..."; empty takes it back. Main
// thread.
void set_crash_note(const std::string& text);

}  // namespace platform
