#include "lib/base64.h"

#include <array>

namespace lib {
namespace {

constexpr std::string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t no_digit = 255;

constexpr std::array<std::uint8_t, 256> digit_table = [] {
  std::array<std::uint8_t, 256> table{};
  table.fill(no_digit);
  for (std::size_t i = 0; i < letters.size(); ++i) {
    table[static_cast<unsigned char>(letters[i])] = static_cast<std::uint8_t>(i);
  }
  return table;
}();

}  // namespace

std::string to_base64(std::span<const std::uint8_t> bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t left = bytes.size() - i;
    const unsigned group = bytes[i] << 16 | (left > 1 ? bytes[i + 1] << 8 : 0) | (left > 2 ? bytes[i + 2] : 0);
    text += letters[group >> 18];
    text += letters[group >> 12 & 63];
    text += left > 1 ? letters[group >> 6 & 63] : '=';
    text += left > 2 ? letters[group & 63] : '=';
  }
  return text;
}

bool from_base64(std::string_view text, std::vector<std::uint8_t>& bytes) {
  if (text.size() % 4 != 0) return false;
  const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
  std::vector<std::uint8_t> found;
  found.reserve(text.size() / 4 * 3);
  for (std::size_t i = 0; i < text.size(); i += 4) {
    unsigned group = 0;
    for (std::size_t k = 0; k < 4; ++k) {
      const bool padded = i + k >= text.size() - padding;
      const std::uint8_t digit = padded ? 0 : digit_table[static_cast<unsigned char>(text[i + k])];
      if (digit == no_digit) return false;
      group = group << 6 | digit;
    }
    for (int shift = 16; shift >= 0; shift -= 8) found.push_back(static_cast<std::uint8_t>(group >> shift));
  }
  found.resize(found.size() - padding);
  bytes = std::move(found);
  return true;
}

}  // namespace lib
