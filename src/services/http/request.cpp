#include "services/http/request.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <optional>

#include "lib/percent.h"

namespace services::http {
namespace {

bool is_blank(char c) {
  return c == ' ' || c == '\t';
}

std::string_view next_word(std::string_view& line) {
  while (!line.empty() && is_blank(line.front())) line.remove_prefix(1);
  const auto end = std::find_if(line.begin(), line.end(), is_blank);
  const std::string_view word = line.substr(0, static_cast<std::size_t>(end - line.begin()));
  line.remove_prefix(word.size());
  return word;
}

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool same_word(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return lower(x) == lower(y); });
}

int base64_digit(char c) {
  constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const std::size_t at = digits.find(c);
  return at == digits.npos ? -1 : static_cast<int>(at);
}

// RFC 4648; nothing for text that is not of that form.
std::optional<std::string> decode_base64(std::string_view text) {
  while (text.ends_with('=')) text.remove_suffix(1);
  std::string result;
  unsigned bits = 0;
  int count = 0;
  for (const char c : text) {
    const int digit = base64_digit(c);
    if (digit < 0) return {};
    bits = bits << 6 | static_cast<unsigned>(digit);
    count += 6;
    if (count >= 8) {
      count -= 8;
      result += static_cast<char>(bits >> count & 255);
    }
  }
  return result;
}

// A whole number at the start of the text, which it is taken from; one beyond the range of int stays at its end.
std::optional<int> take_number(std::string_view& text) {
  std::size_t at = !text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0;
  const bool negative = at == 1 && text[0] == '-';
  const std::size_t first = at;
  std::int64_t value = 0;
  for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
    value = std::min<std::int64_t>(value * 10 + (text[at] - '0'), INT_MAX);
  }
  if (at == first) return {};
  text.remove_prefix(at);
  return static_cast<int>(negative ? -value : value);
}

}  // namespace

request_parser::state request_parser::take(std::string_view bytes) {
  if (state_ != state::incomplete) return state_;
  text_.append(bytes.substr(0, largest_request - text_.size()));
  while (state_ == state::incomplete) {
    const std::size_t end = text_.find('\n', scanned_);
    if (end == text_.npos) {
      scanned_ = text_.size();
      if (text_.size() >= largest_request) state_ = state::bad;
      break;
    }
    std::string_view line(text_.data() + line_, end - line_);
    if (line.ends_with('\r')) line.remove_suffix(1);
    line_ = scanned_ = end + 1;
    take_line(line);
  }
  return state_;
}

void request_parser::take_line(std::string_view line) {
  if (!in_headers_) {
    in_headers_ = true;
    const std::string_view method = next_word(line);
    request_.path = next_word(line);
    const std::string_view version = next_word(line);
    const bool whole = method == "GET" && version.starts_with("HTTP/") && next_word(line).empty();
    if (!whole) state_ = state::bad;
    return;
  }
  if (line.empty()) {
    state_ = state::complete;
    return;
  }
  if (!same_word(next_word(line), "Authorization:") || !same_word(next_word(line), "Basic")) return;
  const std::optional<std::string> decoded = decode_base64(next_word(line));
  const std::size_t colon = decoded ? decoded->find(':') : std::string::npos;
  if (colon == std::string::npos) return;
  request_.user = decoded->substr(0, colon);
  request_.password = decoded->substr(colon + 1);
}

bool has_hidden_component(std::string_view path) {
  for (std::size_t at = 0; at < path.size(); ++at) {
    if (path[at] == '.' && (at == 0 || path[at - 1] == '/')) return true;
  }
  return false;
}

target find_target(std::string_view path) {
  target result;
  if (!path.starts_with('/')) return result;
  const std::size_t question = path.find('?');
  if (question != path.npos) {
    constexpr std::string_view refresh = "refresh=";
    std::string_view rest = path.substr(question + 1);
    if (rest.starts_with(refresh)) {
      rest.remove_prefix(refresh.size());
      result.refresh = std::max(take_number(rest).value_or(0), 0);
    }
  }
  result.name = lib::decode_percent(path.substr(1, question == path.npos ? path.npos : question - 1));

  std::string_view rest = result.name;
  const std::optional<int> width = take_number(rest);
  if (width && rest.starts_with(',')) {
    rest.remove_prefix(1);
    if (const std::optional<int> height = take_number(rest)) {
      result.what = target::kind::picture;
      result.width = *width;
      result.height = *height;
      result.name.clear();
      if (std::min(*width, *height) >= 1 && std::max(*width, *height) <= largest_picture) return result;
      result.what = target::kind::error;
      result.error = bad_size;
      return result;
    }
  }
  result.what = target::kind::file;
  if (has_hidden_component(result.name) || result.name.find('\0') != result.name.npos) {
    result.what = target::kind::error;
    result.error = not_found;
  }
  return result;
}

}  // namespace services::http
