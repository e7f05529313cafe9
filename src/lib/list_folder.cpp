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

struct open_folder {
  explicit open_folder(const std::string& path) : handle(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {}
  ~open_folder() {
    if (handle >= 0) close(handle);
  }
  open_folder(const open_folder&) = delete;
  open_folder& operator=(const open_folder&) = delete;
  const int handle;  // negative: errno says why
};

// Calls visit(handle of the folder, entry) for each entry but "." and "..". Returns 0 or the errno of the failure.
template <class Visit>
int walk_folder(const std::string& path, const Visit& visit) {
  // The system call itself: readdir would hand over the names one call at a time, and the kind of each comes with it.
  constexpr std::size_t block_size = 1 << 20;
  const open_folder folder(path);
  if (folder.handle < 0) return errno;
  const std::unique_ptr<char[]> block(new char[block_size]);
  for (;;) {
    const ssize_t size = getdents64(folder.handle, block.get(), block_size);
    if (size <= 0) return size < 0 ? errno : 0;
    for (ssize_t at = 0; at < size;) {
      const auto& entry = *reinterpret_cast<const dirent64*>(block.get() + at);
      at += entry.d_reclen;
      const char* name = entry.d_name;
      if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0))) continue;
      visit(folder.handle, entry);
    }
  }
}

}  // namespace

int list_folder(const std::string& folder, const std::string& pattern, std::vector<std::string>* files,
                std::vector<std::string>* folders) {
  const bool all = pattern == "*";
  return walk_folder(folder, [&](int handle, const dirent64& entry) {
    if (!all && !match_wildcard(pattern, entry.d_name)) return;
    const entry_kind kind = kind_of(handle, entry);
    if (kind == entry_kind::file && files) files->emplace_back(entry.d_name);
    if (kind == entry_kind::folder && folders) folders->emplace_back(entry.d_name);
  });
}

int visit_files(const std::string& folder, const std::function<void(std::string_view name)>& visit) {
  return walk_folder(folder, [&](int handle, const dirent64& entry) {
    if (entry.d_type == DT_REG || entry.d_type == DT_LNK || kind_of(handle, entry) == entry_kind::file) {
      visit(entry.d_name);
    }
  });
}

}  // namespace lib
