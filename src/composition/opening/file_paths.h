// Paths of real files: only `/` separates, since `\` is a letter in a file name like any other.
#pragma once

#include <string_view>

namespace ksn {

struct path_parts {
  std::string_view folder;  // with its closing separator, empty when there is none
  std::string_view name;
};

inline path_parts split_real_path(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string_view::npos) return {{}, path};
  return {path.substr(0, slash + 1), path.substr(slash + 1)};
}

inline std::string_view real_file_name(std::string_view path) {
  return split_real_path(path).name;
}

}  // namespace ksn
