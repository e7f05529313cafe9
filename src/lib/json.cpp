#include "lib/json.h"

#include <cstdio>

namespace lib {
namespace {

// The length of the UTF-8 form at the front of the text, 0 for bytes that are none (RFC 3629).
std::size_t form_length(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const auto follows = [&](std::size_t i, unsigned low = 0x80, unsigned high = 0xBF) {
    return i < text.size() && byte(i) >= low && byte(i) <= high;
  };
  const unsigned lead = byte(0);
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) return follows(1) ? 2 : 0;
  if (lead >= 0xE0 && lead <= 0xEF) {
    return follows(1, lead == 0xE0 ? 0xA0 : 0x80, lead == 0xED ? 0x9F : 0xBF) && follows(2) ? 3 : 0;
  }
  if (lead < 0xF0 || lead > 0xF4) return 0;
  return follows(1, lead == 0xF0 ? 0x90 : 0x80, lead == 0xF4 ? 0x8F : 0xBF) && follows(2) && follows(3) ? 4 : 0;
}

}  // namespace

std::string json_string(std::string_view text) {
  std::string result = "\"";
  while (!text.empty()) {
    const std::size_t length = form_length(text);
    const auto c = static_cast<unsigned char>(text[0]);
    if (length == 0) {
      result += "\\ufffd";
    } else if (c == '"' || c == '\\') {
      result += {'\\', static_cast<char>(c)};
    } else if (c == '\n') {
      result += "\\n";
    } else if (c < 0x20 || c == 0x7F) {
      char code[8];
      std::snprintf(code, sizeof code, "\\u%04x", c);
      result += code;
    } else {
      result += text.substr(0, length);
    }
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return result + "\"";
}

}  // namespace lib
