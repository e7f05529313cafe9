#include "io/part_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "io/exceptions.h"

namespace io {

part_file::part_file(std::string target) : target_(std::move(target)), path_(target_ + ".part") {
  struct stat status;
  if (stat(target_.c_str(), &status) != 0) return;
  mode_ = status.st_mode & 07777;
  if (struct stat link; lstat(target_.c_str(), &link) == 0 && S_ISLNK(link.st_mode)) {
    if (char* const real = realpath(target_.c_str(), nullptr)) {
      target_ = real;
      path_ = target_ + ".part";
      std::free(real);
    }
  }
  if (S_ISDIR(status.st_mode)) throw open_error(target_, EISDIR);
  // Renaming would replace a file that its owner made read-only.
  if (access(target_.c_str(), W_OK) != 0) throw open_error(target_, errno);
  if (!S_ISREG(status.st_mode)) path_ = target_;
}

void part_file::commit() {
  // A file system without permissions refuses; the file is good all the same.
  if (mode_ != 0 && is_apart() && chmod(path_.c_str(), mode_) != 0) mode_ = 0;
  if (is_apart() && std::rename(path_.c_str(), target_.c_str()) != 0) throw write_error(target_, errno);
}

}  // namespace io
