// Text to values, loudly.
#pragma once

#include <exception>
#include <string>
#include <string_view>

namespace lib {

struct from_string_failed : std::exception {
  const char* what() const noexcept override { return "from_string_failed"; }
};

// The value that `text` holds between optional white space. Throws from_string_failed when there is none, when it does
// not fit T, or when other text remains. T is an integer type (decimal), double, bool (0 or 1), or std::string, which
// is the text as it stands.
template <class T>
T from_string(std::string_view text);

// As from_string(), without an exception: false leaves `value` as it is.
template <class T>
bool parse_value(std::string_view text, T& value);

}  // namespace lib
