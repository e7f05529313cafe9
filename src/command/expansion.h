// Environment variables in arguments.
#pragma once

#include <string>
#include <string_view>

namespace command {

// %NAME% becomes the variable's value, %% one percent sign; an unknown name stays as it stands.
std::string expand_environment(std::string_view text);

}  // namespace command
