// A folder as it is chosen from: each sequence is one row.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace ksn {

struct folder_row {
  std::string name;   // of the folder or file; of a sequence its pattern with `#` for the digits
  std::string first;  // name of the file that opens it
  bool is_folder = false;
  int files = 1;
  int low = 0;  // frame numbers of a sequence
  int high = 0;
  long long bytes = 0;    // of all files
  bool about = false;     // the bytes are those of some files, taken for all
  long long changed = 0;  // of the first file, in seconds since 1970

  bool is_sequence() const { return files > 1; }
};

// Folders first, each part in natural order, without names that begin with a dot. Of the files those with one of the
// `extensions`, in lower case without dots; all for an empty list. Pictures whose names differ only in their number are
// one row. Sizes are asked for as long as `patience` lasts. Returns 0, or the errno of a folder that can't be listed.
int list_rows(const std::string& folder, const std::vector<std::string>& extensions, std::chrono::milliseconds patience,
              std::vector<folder_row>& rows);

// "1001-1240", and how many numbers in between have no file: "1001-1240, 3 missing". Empty for what is no sequence.
std::string frames_text(const folder_row& row);

}  // namespace ksn
