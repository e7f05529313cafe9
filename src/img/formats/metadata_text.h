// Texts from file headers as metadata.
#pragma once

#include <string>
#include <string_view>

namespace img {

// `text` with every byte that is not part of a well-formed UTF-8 sequence (RFC 3629) replaced by `?`.
std::string valid_utf8(std::string_view text);

}  // namespace img
