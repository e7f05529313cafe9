// MD5 (RFC 1321): only for the password file, which holds such sums; it protects nothing by itself.
#pragma once

#include <string>
#include <string_view>

namespace services::http {

// In 32 lower-case hexadecimal digits.
std::string md5_text(std::string_view bytes);

}  // namespace services::http
