// UTF-8 text and text of 16-bit units. Neither direction ever fails.
#pragma once

#include <string>
#include <string_view>

namespace lib {

// Surrogate pairs become four bytes, a lone surrogate the three bytes of its own value.
std::string to_utf8(std::u16string_view text);

// By lead bytes alone: following bytes are masked to six bits and not checked, every byte above 127 that leads no form
// of two or three bytes counts as the lead of four. Stops in front of an incomplete form at the end.
std::u16string to_utf16(std::string_view text);

}  // namespace lib
