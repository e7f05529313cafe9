// Other programs of the desktop: each is started and nobody waits for it.
#pragma once

#include <string>

namespace platform {

// Each returns false, with the reason in `error`, when there is no such program. With `process` the caller gets its
// number, and has to wait for its end at some time (waitpid): it is not 0 when the desktop has nothing for the file.
// Without, what becomes of it is not heard.

// Opens a web address, or a file or folder, with the program that the desktop has for it (xdg-open).
bool open_address(const std::string& address, std::string& error, int* process = nullptr);

// Shows a file in the file manager, selected there where the file manager knows how (the interface FileManager1 of
// freedesktop.org on the session's bus), otherwise its folder.
bool reveal(const std::string& path, std::string& error, int* process = nullptr);

// A new mail with the file attached, in the user's mail program (xdg-email).
bool mail(const std::string& path, std::string& error, int* process = nullptr);

// Starts this program once more, without arguments.
bool launch_again(std::string& error);

}  // namespace platform
