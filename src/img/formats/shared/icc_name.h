// The name that a colour profile gives itself.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace img {

// The profile description of an ICC profile (ICC.1, tag `desc`), in its first language, as UTF-8; empty when there is
// none.
std::string icc_name(std::span<const std::uint8_t> profile);

}  // namespace img
