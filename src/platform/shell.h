// Other programs of the desktop: each is started and left alone, so that nobody waits for it.
#pragma once

#include <string>

namespace platform {

// Each returns false, with the reason in `error`, when there is no such program; what the program itself says is not
// heard.

// Opens a web address, or a file or folder, with the program that the desktop has for it (xdg-open).
bool open_address(const std::string& address, std::string& error);

// Shows a file in the file manager, selected there where the file manager knows how (the interface FileManager1 of
// freedesktop.org on the session's bus), otherwise its folder.
bool reveal(const std::string& path, std::string& error);

// A new mail with the file attached, in the user's mail program (xdg-email).
bool mail(const std::string& path, std::string& error);

// Starts this program once more, without arguments.
bool launch_again(std::string& error);

}  // namespace platform
