// What the dialogs that open files know of folders and files.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/open_form.h"

namespace app {

class preview_maker;

// `folders`: some that the user was in lately. `previews` may be null, else it outlives the form.
platform::open_form make_open_form(const std::function<std::string(std::string_view key)>& text,
                                   const std::vector<std::string>& folders, preview_maker* previews);

// The first picture of a path, reduced to that size at most, or why there is none. Shares nothing with the program, so
// that it can run beside it.
platform::open_preview preview_of(const std::string& path, int width, int height);

}  // namespace app
