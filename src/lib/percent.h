// Bytes of an address as % and two digits (RFC 3986).
#pragma once

#include <string>
#include <string_view>

namespace lib {

// `%` and two hexadecimal digits are a byte; any other `%` stands for itself.
std::string decode_percent(std::string_view text);

}  // namespace lib
