// What sequence detection shares beside its public names.
#pragma once

#include <string_view>

namespace ksn {

// As match_number(), for names whose number may not fit: false for a name that does not match, and `fits` tells
// whether `number` holds the value.
bool match_frame(std::string_view name, std::string_view pattern, int& number, bool& fits);

// Whether the name holds `?` or `*`.
inline bool has_wildcard(std::string_view name) {
  return name.find_first_of("?*") != std::string_view::npos;
}

constexpr bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

constexpr char lowered(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

}  // namespace ksn
