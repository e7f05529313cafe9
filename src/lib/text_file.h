// Small files of text that users write.
#pragma once

#include <string>

namespace lib {

// Reads a whole file, without the UTF-8 byte order mark that it may begin with. False when it can't be opened or read,
// or holds more than 256 MB; `text` is unspecified then.
bool read_text_file(const std::string& path, std::string& text);

}  // namespace lib
