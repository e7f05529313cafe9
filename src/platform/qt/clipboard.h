// Text and pictures on the clipboard.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace platform {

std::string clipboard_text();
void set_clipboard_text(const std::string& text);
bool has_clipboard_picture();
// As desktop::clipboard_picture() and its partner.
bool clipboard_picture(std::vector<std::uint8_t>& pixels, int& width, int& height);
void set_clipboard_picture(const std::uint8_t* pixels, int width, int height);

}  // namespace platform
