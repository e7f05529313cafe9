#include "img/formats/shared/metadata_text.h"

#include <locale.h>

#include <cstdarg>
#include <cstdio>

#include "lib/utf.h"

namespace img {
namespace {

// Bytes of the well-formed sequence at the start of `text`, 0 when there is none.
std::size_t sequence_length(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned lead = byte(0);
  if (lead < 0x80) return 1;
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  // Overlong forms, surrogates and values above 10FFFF show in the second byte.
  if ((lead == 0xE0 && byte(1) < 0xA0) || (lead == 0xED && byte(1) > 0x9F) || (lead == 0xF0 && byte(1) < 0x90) ||
      (lead == 0xF4 && byte(1) > 0x8F)) {
    return 0;
  }
  return length;
}

}  // namespace

std::string valid_utf8(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = sequence_length(text);
    if (length == 0) {
      result += '?';
      text.remove_prefix(1);
    } else {
      result += text.substr(0, length);
      text.remove_prefix(length);
    }
  }
  return result;
}

std::string utf8_of_latin1(std::string_view text) {
  std::u16string units;
  for (const char c : text) units += static_cast<char16_t>(static_cast<unsigned char>(c));
  return lib::to_utf8(units);
}

std::string print(const char* pattern, ...) {
  static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
  const locale_t before = uselocale(plain);
  char text[256];
  va_list arguments;
  va_start(arguments, pattern);
  std::vsnprintf(text, sizeof text, pattern, arguments);
  va_end(arguments);
  uselocale(before);
  return text;
}

}  // namespace img
