#include "composition/open_error.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>

namespace ksn {

int missing_error(const std::string& path) {
  std::error_code error;
  return std::filesystem::exists(path, error) ? 0 : error ? error.value() : ENOENT;
}

int file_error(const std::string& path) {
  std::error_code error;
  switch (std::filesystem::status(path, error).type()) {
    case std::filesystem::file_type::regular:
      return 0;
    case std::filesystem::file_type::directory:
      return EISDIR;
    case std::filesystem::file_type::not_found:
      return ENOENT;
    default:
      return error ? error.value() : ESPIPE;
  }
}

std::string open_error_line(const std::string& path, int code) {
  char text[64];
  std::snprintf(text, sizeof text, "\": Open error %d (0x%08X)", code, static_cast<unsigned>(code));
  return '"' + path + text;
}

std::string no_images_line(const std::string& path) {
  return '"' + path + "\": Path contains no images";
}

}  // namespace ksn
