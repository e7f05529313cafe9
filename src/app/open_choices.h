// What the dialogs that open files know of folders and files.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/open_form.h"

namespace app {

// `folders`: some that the user was in lately. The form's functions may be called from any thread.
platform::open_form make_open_form(const std::function<std::string(std::string_view key)>& text,
                                   const std::vector<std::string>& folders);

}  // namespace app
