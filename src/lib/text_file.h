// Small files of text that users write.
#pragma once

#include <string>

namespace lib {

enum class pipes { refused, read };

// Reads a whole file, without the UTF-8 byte order mark that it may begin with. False when it can't be opened or read,
// or holds more than 256 MB; `text` is unspecified then, and errno says why, or 0. A pipe that is to be read is read to
// its end; one without a writer gets two seconds for one to come (ENODATA).
bool read_text_file(const std::string& path, std::string& text, pipes pipes = pipes::refused);

// Whether a named pipe, or a pipe of a shell as /dev/fd/63, is at the path.
bool is_pipe(const std::string& path);

}  // namespace lib
