#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "lib/paths.h"

namespace lib {
namespace {

enum class entry_kind { file, folder, other };

// Asks the file system only where the listing itself doesn't tell.
entry_kind kind_of(int folder, const dirent64& entry) {
  switch (entry.d_type) {
    case DT_REG:
      return entry_kind::file;
    case DT_DIR:
      return entry_kind::folder;
    case DT_LNK:
    case DT_UNKNOWN: {
      struct stat status;
      // A link to nothing is listed as a file, so that using it tells what is wrong.
      if (fstatat(folder, entry.d_name, &status, 0) != 0) return entry_kind::file;
      return S_ISREG(status.st_mode)   ? entry_kind::file
             : S_ISDIR(status.st_mode) ? entry_kind::folder
                                       : entry_kind::other;
    }
    default:
      return entry_kind::other;
  }
}

}  // namespace

int list_folder(const std::string& folder, const std::string& pattern, std::vector<std::string>* files,
                std::vector<std::string>* folders) {
  // The folder is read with the system call and a large block: readdir's 32 KB took a third longer for 100,000 names.
  constexpr std::size_t block_size = 1 << 20;
  const int handle = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (handle < 0) return errno;
  const std::unique_ptr<char[]> block(new char[block_size]);
  const bool all = pattern == "*";
  int error = 0;
  for (;;) {
    const ssize_t size = getdents64(handle, block.get(), block_size);
    if (size < 0) error = errno;
    if (size <= 0) break;
    for (ssize_t at = 0; at < size;) {
      const auto& entry = *reinterpret_cast<const dirent64*>(block.get() + at);
      at += entry.d_reclen;
      const char* name = entry.d_name;
      if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0))) continue;
      if (!all && !match_wildcard(pattern, name)) continue;
      const entry_kind kind = kind_of(handle, entry);
      if (kind == entry_kind::file && files) files->emplace_back(name);
      if (kind == entry_kind::folder && folders) folders->emplace_back(name);
    }
  }
  close(handle);
  return error;
}

}  // namespace lib
