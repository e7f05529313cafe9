// Parts of the program that are loaded when they are first needed, so that a start without them costs nothing and a
// machine without their libraries still runs.
#pragma once

#include <string>

namespace platform {

// Loads `kestrin_NAME.so` from the folder of the executable, or from `<prefix>/lib/kestrin` for an executable in
// `<prefix>/bin`, and finds its exported function. A module stays loaded to the end of the process; later calls find it
// at once. Null, with the reason in `error`, when the module, one of its libraries or the function is missing. Any
// thread.
void* module_function(const std::string& name, const std::string& function, std::string& error);

}  // namespace platform
