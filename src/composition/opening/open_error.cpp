#include "composition/opening/open_error.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>

#include "io/failure.h"

namespace ksn {

namespace {

// 0 when the file may be read.
int permission_error(const std::string& path) {
  return access(path.c_str(), R_OK) == 0 ? 0 : errno;
}

}  // namespace

int file_error(const std::string& path) {
  std::error_code error;
  switch (std::filesystem::status(path, error).type()) {
    case std::filesystem::file_type::regular:
      return permission_error(path);
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
  std::snprintf(text, sizeof text, "Open error %d (0x%08X)", code, static_cast<unsigned>(code));
  std::string line = '"' + path + "\": " + text;
  // Readers have codes of their own, below 0. A name that is not there needs no word more.
  std::error_code ignored;
  const bool plainly_missing = code == ENOENT && !std::filesystem::is_symlink(path, ignored);
  if (code > 0 && !plainly_missing) line += ": " + io::reason(code, path);
  return line;
}

std::string no_images_line(const std::string& path) {
  return '"' + path + "\": Path contains no images";
}

}  // namespace ksn
