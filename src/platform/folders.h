// Folders that the program finds its own files in.
#pragma once

#include <string>

namespace platform {

enum class folder_kind {
  config = 0,        // `config` beside the executable
  user = 1,          // `user` beside the executable
  documents = 2,     // `Kestrin` in the user's documents folder
  httpdocs = 3,      // `httpdocs` beside the executable
  local_data = 4,    // `Kestrin` in the user's local data; 6 and 7 are the same folder
  roaming_data = 5,  // `Kestrin` in the user's configuration
  local_data_6 = 6,
  local_data_7 = 7,
  executable = 8,      // the folder of the executable itself
  temporary = 9,       // the system's temporary folder
  lookup_tables = 10,  // `LUTs` beside the executable
  after_save = 11,     // `scripts/after_save` beside the executable
};

// Stores the folder, without a closing separator, in `path`. False when it can't be determined, or with `create` when
// it can't be made. "Beside the executable" is `<prefix>/share/kestrin` for an executable in `<prefix>/bin` when that
// folder exists.
bool get_folder(folder_kind kind, bool create, std::string& path);

}  // namespace platform
