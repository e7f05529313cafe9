// A file that appears under its name only when it is whole.
#pragma once

#include <string>

namespace io {

// The writer gets `path()`, `NAME.part` in the folder of `NAME` (shortened where that is longer than a name may be),
// and commit() renames it to `NAME`. Without commit() it is removed again, and an existing `NAME` is untouched. While
// this lives it holds a lock on the part: two programs do not write one file at the same time, and what a killed one
// left behind is taken over. A `NAME` that is a pipe or a device can't be replaced and is written to directly. A `NAME`
// that is a link stays one: what it points to is replaced. The new file has the permissions of the old one.
class part_file {
 public:
  // Throws io::open_error(target): for a folder, a file without write permission, a link to nothing, a pipe that nobody
  // reads, a part that can't be made, and one that another program or thread is writing (EWOULDBLOCK).
  explicit part_file(std::string target);
  ~part_file();
  part_file(const part_file&) = delete;
  part_file& operator=(const part_file&) = delete;

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
  int handle_ = -1;    // of the part, or of a pipe
  bool committed_ = false;
};

// Whether an open file is the part that this process holds locked.
bool is_own_part(int handle);

// Removes the parts in a folder that no program is writing, as killed ones leave them. Returns how many.
int remove_dead_parts(const std::string& folder);

}  // namespace io
