#include "lib/printable.h"

namespace lib {
namespace {

void append_code(std::string& result, unsigned char byte) {
  constexpr const char* digits = "0123456789ABCDEF";
  result += "\\x";
  result += digits[byte >> 4];
  result += digits[byte & 15];
}

}  // namespace

std::string printable(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const unsigned char next = i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : 0;
    if (byte == '\n') {
      result += "\\n";
    } else if (byte == '\r') {
      result += "\\r";
    } else if (byte == '\t') {
      result += "\\t";
    } else if (byte < ' ' || byte == 0x7F) {
      append_code(result, byte);
    } else if (byte == 0xC2 && next >= 0x80 && next < 0xA0) {  // U+0080 to U+009F
      append_code(result, byte);
      append_code(result, next);
      ++i;
    } else {
      result += text[i];
    }
  }
  return result;
}

}  // namespace lib
