#include "lib/utf.h"

#include <cstdint>

namespace lib {

std::string to_utf8(std::u16string_view text) {
  std::string result;
  result.reserve(text.size());
  auto add = [&](std::uint32_t byte) { result += static_cast<char>(byte); };
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::uint32_t code = text[i];
    if (code < 0x80) {
      add(code);
    } else if (code < 0x800) {
      add(0xC0 | code >> 6);
      add(0x80 | (code & 0x3F));
    } else if (code >> 10 == 0xD800 >> 10 && i + 1 < text.size() && text[i + 1] >> 10 == 0xDC00 >> 10) {
      code = 0x10000 + ((code & 0x3FF) << 10) + (text[++i] & 0x3FFu);
      add(0xF0 | code >> 18);
      add(0x80 | (code >> 12 & 0x3F));
      add(0x80 | (code >> 6 & 0x3F));
      add(0x80 | (code & 0x3F));
    } else {
      add(0xE0 | code >> 12);
      add(0x80 | (code >> 6 & 0x3F));
      add(0x80 | (code & 0x3F));
    }
  }
  return result;
}

std::u16string to_utf16(std::string_view text) {
  std::u16string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<std::uint8_t>(text[i]);
    const std::size_t following = lead < 0x80 ? 0 : lead >> 5 == 6 ? 1 : lead >> 4 == 14 ? 2 : 3;
    if (following >= text.size() - i) break;
    static constexpr std::uint8_t lead_bits[] = {0x7F, 0x1F, 0x0F, 0x07};
    std::uint32_t code = lead & lead_bits[following];
    for (std::size_t k = 1; k <= following; ++k) code = code << 6 | (static_cast<std::uint8_t>(text[i + k]) & 0x3F);
    if (following < 3) {
      result += static_cast<char16_t>(code);
    } else {
      code -= 0x10000;
      result += static_cast<char16_t>(0xD800 | (code >> 10 & 0x3FF));
      result += static_cast<char16_t>(0xDC00 | (code & 0x3FF));
    }
    i += following + 1;
  }
  return result;
}

}  // namespace lib
