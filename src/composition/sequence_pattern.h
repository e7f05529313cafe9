// What sequence detection shares beside its public names.
#pragma once

#include <algorithm>
#include <string_view>

namespace ksn {

// As match_number(), for names whose number may not fit: false for a name that does not match, and `fits` tells
// whether `number` holds the value.
bool match_frame(std::string_view name, std::string_view pattern, int& number, bool& fits);

// The same for many names under one pattern. The text must outlive it.
class name_matcher {
 public:
  explicit name_matcher(std::string_view pattern)
      : pattern_(pattern), fixed_(std::min(pattern.find_first_of("?*"), pattern.size())) {}
  bool operator()(std::string_view name, int& number, bool& fits) const {
    // Nearly every name in a folder begins with the pattern's text as it stands.
    const bool same_start = name.starts_with(pattern_.substr(0, fixed_));
    return same_start ? match_frame(name.substr(fixed_), pattern_.substr(fixed_), number, fits)
                      : match_frame(name, pattern_, number, fits);
  }
  // Whether a name that matched has a sign in front of its number.
  bool has_sign(std::string_view name) const {
    return fixed_ < pattern_.size() && (name[fixed_] == '-' || name[fixed_] == '+');
  }

 private:
  std::string_view pattern_;
  std::size_t fixed_;  // letters in front of the first wildcard
};

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
