#include "img/lookup/text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <type_traits>

#include "img/formats/shared/metadata_text.h"
#include "io/exceptions.h"
#include "lib/paths.h"

namespace img {
namespace {

constexpr std::string_view blanks = " \t\v\f";

// std::from_chars takes no plus sign.
std::string_view without_plus(std::string_view word) {
  if (word.size() > 1 && word[0] == '+' && word[1] != '-') word.remove_prefix(1);
  return word;
}

}  // namespace

line_scanner::line_scanner(std::string_view text) : rest_(text) {
  constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
  if (rest_.starts_with(byte_order_mark)) rest_.remove_prefix(byte_order_mark.size());
}

bool line_scanner::next(std::string_view& line) {
  comment_ = {};
  while (!rest_.empty()) {
    ++number_;
    const std::size_t end = std::min(rest_.find_first_of("\r\n"), rest_.size());
    line = rest_.substr(0, end);
    const std::size_t mark = rest_.substr(end).starts_with("\r\n") ? 2 : 1;
    rest_.remove_prefix(std::min(end + mark, rest_.size()));
    const std::size_t sign = std::min(line.find('#'), line.size());
    if (sign < line.size()) comment_ = line.substr(sign + 1);
    line = line.substr(0, sign);
    line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
    line = line.substr(0, line.find_last_not_of(blanks) + 1);
    if (!line.empty() || (comments_ && !comment_.empty())) return true;
  }
  return false;
}

std::string_view take_word(std::string_view& line) {
  line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
  const std::string_view word = line.substr(0, line.find_first_of(blanks));
  line.remove_prefix(word.size());
  return word;
}

bool is_data_line(std::string_view line) {
  if (line.empty()) return false;
  if (std::string_view("+-.").find(line[0]) != std::string_view::npos || (line[0] >= '0' && line[0] <= '9'))
    return true;
  const std::string word = lib::to_lower(take_word(line));
  return word == "nan" || word == "inf" || word == "infinity";
}

bool parse_number(std::string_view word, double& value) {
  word = without_plus(word);
  const char* end = word.data() + word.size();
  const auto [stop, error] = std::from_chars(word.data(), end, value);
  if (stop != end || word.empty()) return false;
  if (error == std::errc::result_out_of_range) {
    // Too small for a double is as good as 0, too large is not a colour.
    value = 0;
    return word.find("e-") != word.npos || word.find("E-") != word.npos;
  }
  return error == std::errc() && std::isfinite(value);
}

bool parse_number(std::string_view word, int& value) {
  word = without_plus(word);
  const char* end = word.data() + word.size();
  const auto [stop, error] = std::from_chars(word.data(), end, value);
  return error == std::errc() && stop == end && !word.empty();
}

void bad_data_line(std::string_view line, int number, const std::string& source, const char* expected) {
  constexpr std::size_t most = 60;  // of a line that is quoted
  std::string quoted = valid_utf8(line.substr(0, most));
  for (char& c : quoted) {
    if (static_cast<unsigned char>(c) < ' ') c = '?';
  }
  if (line.size() > most) quoted += "...";
  throw io::invalid_format(
      source, "Invalid data line " + std::to_string(number) + ": \"" + quoted + "\"; expected " + expected);
}

template <class T>
void parse_data_line(std::string_view line, int number, const std::string& source, T (&values)[3]) {
  std::string_view rest = line;
  bool valid = true;
  for (T& value : values) valid = valid && parse_number(take_word(rest), value);
  if (!valid || !take_word(rest).empty()) {
    bad_data_line(line, number, source, std::is_same_v<T, int> ? "three integers" : "three finite numbers");
  }
}
template void parse_data_line(std::string_view, int, const std::string&, double (&)[3]);
template void parse_data_line(std::string_view, int, const std::string&, int (&)[3]);

void append_number(std::string& text, double value) {
  char buffer[32];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, std::isfinite(value) ? value : 0.0);
  text.append(buffer, result.ptr);
}

}  // namespace img
