// Text of unknown origin, such as the name of a file, in a line for people.
#pragma once

#include <string>
#include <string_view>

namespace lib {

// The text as one line that does nothing to a terminal: control characters become `\n`, `\r`, `\t` or `\xHH`.
std::string printable(std::string_view text);

}  // namespace lib
