#include "platform/files.h"

#include <sys/stat.h>
#include <time.h>

#include <cerrno>
#include <climits>
#include <cstdio>

namespace platform {

int modification_time(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 ? static_cast<int>(status.st_mtim.tv_sec) : 0;
}

std::uint64_t file_stamp(const std::string& path) {
  struct stat status;
  if (stat(path.c_str(), &status) != 0) return 0;
  std::uint64_t stamp = 1;
  for (const auto part :
       {static_cast<std::uint64_t>(status.st_mtim.tv_sec), static_cast<std::uint64_t>(status.st_mtim.tv_nsec),
        static_cast<std::uint64_t>(status.st_size), static_cast<std::uint64_t>(status.st_ino)}) {
    stamp = (stamp ^ part) * 0x9E3779B97F4A7C15u;
    stamp ^= stamp >> 29;
  }
  return stamp != 0 ? stamp : 1;
}

bool is_folder(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool file_exists(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0;
}

bool is_link(const std::string& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

std::int64_t file_size(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 ? static_cast<std::int64_t>(status.st_size) : -1;
}

bool make_folders(const std::string& path) {
  if (is_folder(path)) return true;
  if (path.empty() || path.size() >= PATH_MAX) {
    errno = path.empty() ? ENOENT : ENAMETOOLONG;
    return false;
  }
  const std::string here = path.back() == '/' ? path.substr(0, path.size() - 1) : path;
  const std::size_t slash = here.rfind('/');
  if (slash != std::string::npos && slash > 0 && !make_folders(here.substr(0, slash))) return false;
  if (mkdir(here.c_str(), 0777) == 0) return true;
  const int reason = errno;
  if (is_folder(path)) return true;  // another process was faster
  errno = reason == EEXIST ? ENOTDIR : reason;
  return false;
}

int rename_file(const std::string& from, const std::string& to) {
  return std::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

std::uint32_t milliseconds() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint32_t>(static_cast<std::uint64_t>(now.tv_sec) * 1000u +
                                    static_cast<std::uint64_t>(now.tv_nsec) / 1000000u);
}

}  // namespace platform
