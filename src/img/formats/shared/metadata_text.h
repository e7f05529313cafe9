// Texts from file headers as metadata.
#pragma once

#include <string>
#include <string_view>

namespace img {

// `text` with every byte that is not part of a well-formed UTF-8 sequence (RFC 3629) replaced by `?`.
std::string valid_utf8(std::string_view text);

// As printf() into a text of at most 255 bytes; numbers have a point in every locale.
[[gnu::format(printf, 1, 2)]] std::string print(const char* pattern, ...);
// Text in ISO/IEC 8859-1, each byte of which is the character of its own number, as UTF-8.
std::string utf8_of_latin1(std::string_view text);

}  // namespace img
