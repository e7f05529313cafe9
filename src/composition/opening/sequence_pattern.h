// Frame numbers in file names. A pattern is a name with wildcards in place of its number: `?` for one digit, or for the
// sign if it comes first, `*` for that and all digits after it.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace ksn {

// A value that no frame number has.
constexpr int no_number = static_cast<int>(0x80000000u);

// The frame number of `name` under a pattern, or no_number. Letters without regard to case.
int match_number(std::string_view name, std::string_view pattern);
// The same for names whose number may not be an int: false for a name that does not match, and `fits` tells whether
// `number` holds the value.
bool match_frame(std::string_view name, std::string_view pattern, int& number, bool& fits);
// The file name of frame n: wildcards from the right take the digits, the name widens when they do not suffice.
std::string name_for_number(std::string_view pattern, int n);
// Finds the frame number in a path's file name (the last run of digits of its stem with its sign, or the `#` that it
// holds) and replaces it with `?`. False for a name without a number.
bool build_pattern(const std::string& path, std::string& pattern);
// The path with the frame number of other programs' patterns in our form: `%04d` and `%d`, and a run of `@` between
// dots, underscores or ends of the name, become as many `#`. Only the file name is looked at, and only without a `#`.
std::string with_number_signs(const std::string& path);
// A pattern as the user sees it: `?` as `#` unless it holds `#` itself.
std::string display_pattern(std::string pattern);
// The items of a `--range=` text in order: n, a-b, a-bxs, separated by commas. False for any other text, and for more
// than a million numbers.
bool expand_range(std::string_view text, std::vector<int>& numbers);

// match_frame() for many names under one pattern. The text must outlive it.
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
