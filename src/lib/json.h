// Text as JSON (RFC 8259).
#pragma once

#include <string>
#include <string_view>

namespace lib {

// In double quotes. Bytes that are no UTF-8 become U+FFFD, so that what is written can always be read.
std::string json_string(std::string_view text);

}  // namespace lib
