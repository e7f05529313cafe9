// Why a source can't be opened, as a code and as the user's line.
#pragma once

#include <string>

namespace ksn {

// 0 for a file that can be read from any place, else an errno: a folder or a pipe is none.
int file_error(const std::string& path);

// "PATH": Open error CODE (0xCODE), with the reason in words after an errno that needs them.
std::string open_error_line(const std::string& path, int code);
std::string no_images_line(const std::string& path);

}  // namespace ksn
