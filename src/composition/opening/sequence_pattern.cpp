#include "composition/opening/sequence_pattern.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "composition/opening/file_paths.h"
#include "lib/paths.h"

namespace ksn {
namespace {

constexpr std::int64_t number_limit = std::numeric_limits<int>::max();

// The frame number of a name: the last run of digits in front of the extension, with a sign that stands where a number
// begins. In `shot-0012` it joins two words.
bool find_number(std::string_view name, std::size_t& first, std::size_t& end) {
  const std::size_t dot = name.rfind('.');
  end = dot == std::string_view::npos || dot == 0 ? name.size() : dot;
  while (end > 0 && !is_digit(name[end - 1])) --end;
  first = end;
  while (first > 0 && is_digit(name[first - 1])) --first;
  if (first == end) return false;
  const bool is_signed = first > 0 && (name[first - 1] == '-' || name[first - 1] == '+');
  if (is_signed && (first == 1 || name[first - 2] == '.' || name[first - 2] == '_')) --first;
  return true;
}

// Reads an int with an optional sign; moves `text` past it.
bool read_number(std::string_view& text, std::int64_t& value) {
  const bool negative = !text.empty() && text.front() == '-';
  std::size_t i = negative ? 1 : 0;
  const std::size_t first = i;
  value = 0;
  for (; i < text.size() && is_digit(text[i]); ++i) {
    value = value * 10 + (text[i] - '0');
    if (value > number_limit) return false;
  }
  if (i == first) return false;
  if (negative) value = -value;
  text.remove_prefix(i);
  return true;
}

}  // namespace

bool match_frame(std::string_view name, std::string_view pattern, int& number, bool& fits) {
  std::int64_t value = 0;
  bool negative = false;
  bool wildcard_met = false;
  fits = true;
  std::size_t at = 0;
  const auto take_digit = [&](char c) {
    if (value <= number_limit) value = value * 10 + (c - '0');
  };
  for (const char p : pattern) {
    if (at == name.size()) return false;
    const char c = name[at++];
    if (p != '?' && p != '*') {
      if (lowered(p) != lowered(c)) return false;
      continue;
    }
    if (is_digit(c)) {
      take_digit(c);
    } else if (!wildcard_met && (c == '+' || c == '-')) {
      negative = c == '-';
    } else {
      return false;
    }
    wildcard_met = true;
    if (p == '*') {
      while (at < name.size() && is_digit(name[at])) take_digit(name[at++]);
    }
  }
  if (at != name.size()) return false;
  fits = value <= number_limit;
  if (fits) number = static_cast<int>(negative ? -value : value);
  return true;
}

int match_number(std::string_view name, std::string_view pattern) {
  int number = 0;
  bool fits = false;
  return match_frame(name, pattern, number, fits) && fits ? number : no_number;
}

std::string name_for_number(std::string_view pattern, int n) {
  std::string name(pattern);
  std::uint32_t rest = n < 0 ? 0u - static_cast<std::uint32_t>(n) : static_cast<std::uint32_t>(n);
  std::size_t leftmost = std::string::npos;
  for (std::size_t i = name.size(); i-- > 0;) {
    if (name[i] != '?' && name[i] != '*') continue;
    name[i] = static_cast<char>('0' + rest % 10);
    rest /= 10;
    leftmost = i;
  }
  if (leftmost == std::string::npos) return name;
  for (; rest != 0; rest /= 10) name.insert(leftmost, 1, static_cast<char>('0' + rest % 10));
  if (n < 0) {
    if (name[leftmost] == '0') {
      name[leftmost] = '-';
    } else {
      name.insert(leftmost, 1, '-');
    }
  }
  return name;
}

bool build_pattern(const std::string& path, std::string& pattern) {
  const auto [folder, name] = split_real_path(path);
  std::string file(name);
  std::replace(file.begin(), file.end(), '#', '?');
  if (!has_wildcard(file)) {
    std::size_t first = 0;
    std::size_t end = 0;
    if (!find_number(file, first, end)) return false;
    std::fill(file.begin() + static_cast<std::ptrdiff_t>(first), file.begin() + static_cast<std::ptrdiff_t>(end), '?');
  }
  pattern = std::string(folder) + file;
  return true;
}

namespace {

// The length of "%d" or "%0Nd" at the front of the text and its digits; 0 for any other text.
std::size_t printf_number(std::string_view text, std::size_t& digits) {
  digits = 1;
  if (text.size() < 2 || text[0] != '%') return 0;
  if (text[1] == 'd') return 2;
  if (text.size() < 4 || text[1] != '0' || !is_digit(text[2]) || text[2] == '0' || text[3] != 'd') return 0;
  digits = static_cast<std::size_t>(text[2] - '0');
  return 4;
}

bool ends_a_word(std::string_view name, std::size_t at) {
  return at >= name.size() || name[at] == '.' || name[at] == '_';
}

}  // namespace

std::string with_number_signs(const std::string& path) {
  const lib::folder_and_name parts = lib::split_path(path);
  const std::string& name = parts.name;
  if (name.find('#') != name.npos) return path;
  for (std::size_t i = 0; i < name.size(); ++i) {
    std::size_t digits = 0;
    std::size_t length = printf_number(std::string_view(name).substr(i), digits);
    if (length == 0 && name[i] == '@' && (i == 0 || ends_a_word(name, i - 1))) {
      digits = std::min(name.find_first_not_of('@', i), name.size()) - i;
      if (ends_a_word(name, i + digits)) length = digits;
    }
    if (length > 0) return parts.folder + name.substr(0, i) + std::string(digits, '#') + name.substr(i + length);
  }
  return path;
}

std::string display_pattern(std::string pattern) {
  if (pattern.find('#') == std::string::npos) std::replace(pattern.begin(), pattern.end(), '?', '#');
  return pattern;
}

bool expand_range(std::string_view text, std::vector<int>& numbers) {
  constexpr std::size_t most_numbers = 1'000'000;
  numbers.clear();
  for (;;) {
    std::int64_t first = 0;
    if (!read_number(text, first)) return false;
    std::int64_t last = first;
    std::int64_t step = 1;
    if (!text.empty() && text.front() == '-') {
      text.remove_prefix(1);
      if (!read_number(text, last)) return false;
      if (!text.empty() && (text.front() == 'x' || text.front() == 'X')) {
        text.remove_prefix(1);
        if (!read_number(text, step) || step < 1) return false;
      }
    }
    const std::int64_t count = (last > first ? last - first : first - last) / step + 1;
    if (count > static_cast<std::int64_t>(most_numbers - numbers.size())) return false;
    for (std::int64_t i = 0; i < count; ++i) {
      numbers.push_back(static_cast<int>(last >= first ? first + i * step : first - i * step));
    }
    if (text.empty()) return true;
    if (text.front() != ',') return false;
    text.remove_prefix(1);
  }
}

}  // namespace ksn
