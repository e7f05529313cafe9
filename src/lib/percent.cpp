#include "lib/percent.h"

#include <cstddef>

namespace lib {
namespace {

// -1 for another character.
int hex_digit(char c) {
  return c >= '0' && c <= '9'   ? c - '0'
         : c >= 'a' && c <= 'f' ? c - 'a' + 10
         : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                : -1;
}

}  // namespace

std::string decode_percent(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool coded =
        text[i] == '%' && i + 2 < text.size() && hex_digit(text[i + 1]) >= 0 && hex_digit(text[i + 2]) >= 0;
    result += coded ? static_cast<char>(hex_digit(text[i + 1]) * 16 + hex_digit(text[i + 2])) : text[i];
    if (coded) i += 2;
  }
  return result;
}

}  // namespace lib
