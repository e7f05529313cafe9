// The user's scripts that run behind each save.
#pragma once

#include <functional>
#include <string>

namespace app {

// Starts every executable file of `folder` with `saved_path` as its argument, one after the other in natural order,
// and waits for each. A script that can't be started or fails is one line to `report`.
void run_scripts(const std::string& folder, const std::string& saved_path,
                 const std::function<void(const std::string& line)>& report);

}  // namespace app
