#include "render/text/clock_text.h"

#include <algorithm>
#include <array>

namespace render {
namespace {

constexpr std::string_view specifiers = "aAbBcdHIjmMpSUwWxXyYzZ%";
constexpr std::string_view numeric = "dHIjmMSUwWyY";

// The pattern for this system's strftime; nothing when the key is none. The # asks for long forms of %c and %x, and
// takes zeros off numbers.
std::optional<std::string> system_pattern(std::string_view key) {
  std::string pattern;
  for (std::size_t i = 0; i < key.size(); ++i) {
    if (key[i] != '%') {
      pattern += key[i];
      continue;
    }
    ++i;
    const bool sharp = i < key.size() && key[i] == '#';
    if (sharp) ++i;
    if (i >= key.size() || specifiers.find(key[i]) == specifiers.npos) return std::nullopt;
    if (sharp && key[i] == 'x') {
      pattern += "%A, %d %B %Y";
    } else if (sharp && key[i] == 'c') {
      pattern += "%A, %d %B %Y %H:%M:%S";
    } else {
      pattern += sharp && numeric.find(key[i]) != numeric.npos ? "%-" : "%";
      pattern += key[i];
    }
  }
  return pattern;
}

}  // namespace

std::optional<std::string> clock_text(std::string_view key, std::time_t clock) {
  if (key == "date") key = "%x";
  if (key == "time") key = "%X";
  if (key == "longdate") key = "%#x";
  if (key.empty()) return std::nullopt;
  const std::optional<std::string> pattern = system_pattern(key);
  if (!pattern) return std::nullopt;
  std::tm parts{};
  localtime_r(&clock, &parts);
  // Piece by piece, since no buffer is large enough for every pattern.
  std::string result;
  std::array<char, 256> buffer;
  for (std::size_t at = 0; at < pattern->size();) {
    std::size_t end = at + 1;
    if ((*pattern)[at] == '%') {
      end = at + ((*pattern)[at + 1] == '-' ? 3 : 2);
      const std::string piece = pattern->substr(at, end - at);
      result.append(buffer.data(), std::strftime(buffer.data(), buffer.size(), piece.c_str(), &parts));
    } else {
      end = std::min(pattern->find('%', at), pattern->size());
      result.append(*pattern, at, end - at);
    }
    at = end;
  }
  return result;
}

}  // namespace render
