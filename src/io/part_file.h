// A file that appears under its name only when it is whole.
#pragma once

#include <string>

namespace io {

// The writer gets `path()`, `NAME.part` in the folder of `NAME`, and commit() renames it to `NAME`. Without commit()
// the partial file stays under its own name and an existing `NAME` is untouched. A `NAME` that is a pipe or a device
// can't be replaced and is written to directly. A `NAME` that is a link stays one: what it points to is replaced. The
// new file has the permissions of the old one.
class part_file {
 public:
  // Opens nothing. Throws io::open_error(target) for a target that is a folder or a file without write permission.
  explicit part_file(std::string target);

  // Where to write.
  const std::string& path() const { return path_; }
  // Whether that is a file of its own, and not the target itself.
  bool is_apart() const { return path_ != target_; }
  // Call it when all is written and closed. Throws io::write_error(target).
  void commit();

 private:
  std::string target_;
  std::string path_;
  unsigned mode_ = 0;  // permissions of the file that is replaced, 0 for none
};

}  // namespace io
