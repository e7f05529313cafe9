#include "lib/from_string.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <locale>
#include <sstream>

namespace lib {
namespace {

bool is_space(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

// Without the white space at both ends and one plus sign.
std::string_view stripped(std::string_view text) {
  while (!text.empty() && is_space(text.front())) text.remove_prefix(1);
  while (!text.empty() && is_space(text.back())) text.remove_suffix(1);
  if (text.size() > 1 && text[0] == '+' && text[1] != '-' && text[1] != '+') text.remove_prefix(1);
  return text;
}

template <class T>
bool parse_number(std::string_view text, T& value) {
  text = stripped(text);
  T result{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), result);
  if (error != std::errc() || end != text.data() + text.size()) return false;
  value = result;
  return true;
}

bool parse_double(std::string_view text, double& value) {
  text = stripped(text);
  // Words such as "inf" and "nan" are no numbers here.
  const std::string_view digits = text.substr(text.substr(0, 1) == "-" ? 1 : 0);
  if (digits.empty() || !(is_digit(digits[0]) || digits[0] == '.')) return false;
  double result = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), result);
  if (end != text.data() + text.size()) return false;
  if (error == std::errc::result_out_of_range) {
    // Too large fails, too small is 0 or the nearest there is: a stream tells which.
    std::istringstream stream{std::string(text)};
    stream.imbue(std::locale::classic());
    if (!(stream >> result)) return false;
  } else if (error != std::errc()) {
    return false;
  }
  value = result;
  return true;
}

}  // namespace

template <class T>
bool parse_value(std::string_view text, T& value) {
  if constexpr (std::is_same_v<T, std::string>) {
    value = text;
    return true;
  } else if constexpr (std::is_same_v<T, double>) {
    return parse_double(text, value);
  } else if constexpr (std::is_same_v<T, bool>) {
    int number = 0;
    if (!parse_number(text, number) || (number != 0 && number != 1)) return false;
    value = number == 1;
    return true;
  } else {
    return parse_number(text, value);
  }
}

template <class T>
T from_string(std::string_view text) {
  T value{};
  if (!parse_value(text, value)) throw from_string_failed();
  return value;
}

#define KSN_FROM_STRING(type)                         \
  template bool parse_value(std::string_view, type&); \
  template type from_string<type>(std::string_view)
KSN_FROM_STRING(bool);
KSN_FROM_STRING(std::int8_t);
KSN_FROM_STRING(std::uint8_t);
KSN_FROM_STRING(std::int16_t);
KSN_FROM_STRING(std::uint16_t);
KSN_FROM_STRING(std::int32_t);
KSN_FROM_STRING(std::uint32_t);
KSN_FROM_STRING(std::int64_t);
KSN_FROM_STRING(std::uint64_t);
KSN_FROM_STRING(double);
KSN_FROM_STRING(std::string);

}  // namespace lib
