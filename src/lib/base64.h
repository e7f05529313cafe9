// Bytes as text (RFC 4648, the plain alphabet).
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace lib {

// With its padding.
std::string to_base64(std::span<const std::uint8_t> bytes);
// False for a text that is not base64 with its padding; `bytes` is not changed then.
bool from_base64(std::string_view text, std::vector<std::uint8_t>& bytes);

}  // namespace lib
