#include "io/part_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <set>
#include <utility>
#include <vector>

#include "io/exceptions.h"
#include "io/opening.h"
#include "lib/paths.h"

namespace io {
namespace {

constexpr const char* suffix = ".part";
constexpr std::size_t longest_name = 255;  // bytes, on every file system in use

// The files that part_files of this process hold locked. An inode is nobody else's while it is open here.
struct held_files {
  std::mutex lock;
  std::set<std::pair<dev_t, ino_t>> files;
};

held_files& held() {
  // Never destroyed: where the display breaks, saves are completed from the functions at exit.
  static held_files& all = *new held_files;
  return all;
}

std::pair<dev_t, ino_t> identity(int handle) {
  struct stat status {};
  fstat(handle, &status);
  return {status.st_dev, status.st_ino};
}

std::string part_name(const std::string& target) {
  const lib::folder_and_name parts{lib::folder_of(target), lib::file_name(target)};
  const std::string end = suffix;
  if (parts.name.size() + end.size() <= longest_name) return target + end;
  char code[24];
  std::snprintf(code, sizeof code, "~%016zx", std::hash<std::string>()(parts.name));
  std::size_t length = longest_name - end.size() - 17;
  while (length > 0 && (static_cast<unsigned char>(parts.name[length]) & 0xC0) == 0x80) --length;  // whole characters
  return parts.folder + parts.name.substr(0, length) + code + end;
}

}  // namespace

part_file::part_file(std::string target) : target_(std::move(target)) {
  struct stat status {};
  struct stat link {};
  const bool exists = stat(target_.c_str(), &status) == 0;
  const int reason = errno;
  const bool is_link = lstat(target_.c_str(), &link) == 0 && S_ISLNK(link.st_mode);
  if (!exists && (reason != ENOENT || is_link)) throw open_error(target_, reason);
  if (exists && is_link) {
    if (char* const real = realpath(target_.c_str(), nullptr)) {
      target_ = real;
      std::free(real);
    }
  }
  if (exists) {
    mode_ = status.st_mode & 07777;
    if (S_ISDIR(status.st_mode)) throw open_error(target_, EISDIR);
    // Renaming would replace a file that its owner made read-only.
    if (access(target_.c_str(), W_OK) != 0) throw open_error(target_, errno);
    if (!S_ISREG(status.st_mode)) {
      path_ = target_;
      // Its reader must not see an end before the writer has opened it too.
      if (S_ISFIFO(status.st_mode)) handle_ = open_to_write(target_, target_);
      return;
    }
  }
  path_ = part_name(target_);
  // With its memory before the file: what is left without an owner would stay in the folder.
  std::set<std::pair<dev_t, ino_t>> single{{}};
  auto node = single.extract(single.begin());
  held_files& all = held();
  handle_ = open_to_write(path_, target_);
  node.value() = identity(handle_);
  const std::lock_guard guard(all.lock);
  // Another thread of this process holds it, to which the lock says nothing.
  if (!all.files.insert(std::move(node)).inserted) {
    close(handle_);
    throw open_error(target_, EWOULDBLOCK);
  }
}

part_file::~part_file() {
  if (is_apart()) {
    // While the lock is held: nobody else can have begun to write it.
    if (!committed_) unlink(path_.c_str());
    const std::lock_guard guard(held().lock);
    held().files.erase(identity(handle_));
  }
  if (handle_ >= 0) close(handle_);
}

void part_file::commit() {
  if (!is_apart()) return;
  // A network file system tells at a close of what it could not write.
  const int other = dup(handle_);
  if (other >= 0 && close(other) != 0) throw write_error(target_, errno);
  // A file system without permissions refuses; the file is good all the same.
  if (mode_ != 0 && chmod(path_.c_str(), mode_) != 0) mode_ = 0;
  if (std::rename(path_.c_str(), target_.c_str()) != 0) throw write_error(target_, errno);
  committed_ = true;
}

bool is_own_part(int handle) {
  const std::lock_guard guard(held().lock);
  return held().files.contains(identity(handle));
}

int remove_dead_parts(const std::string& folder) {
  int count = 0;
  std::vector<std::string> names;
  lib::list_folder(folder, std::string("*") + suffix, &names, nullptr);
  for (const std::string& name : names) {
    const std::string path = lib::add_separator(folder) + name;
    const int handle = open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (handle < 0) continue;
    if (flock(handle, LOCK_EX | LOCK_NB) == 0 && is_file_at(handle, path) && unlink(path.c_str()) == 0) ++count;
    close(handle);
  }
  return count;
}

}  // namespace io
