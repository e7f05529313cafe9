// The message of a reader for a value that it does not take.
#pragma once

#include <string>

#include "io/exceptions.h"

namespace img {

// Throws io::invalid_format: the text, the value found and those that are read, as in "Unsupported bit depth: 1; 8, 10,
// 12, 16 and 32 are read".
[[noreturn]] inline void refuse(const std::string& path, const std::string& what, const std::string& found,
                                const std::string& read) {
  throw io::invalid_format(path, what + ": " + found + "; " + read);
}
[[noreturn]] inline void refuse(const std::string& path, const std::string& what, long long found,
                                const std::string& read) {
  refuse(path, what, std::to_string(found), read);
}

}  // namespace img
