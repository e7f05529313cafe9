// Folders that the program finds its own files in.
#pragma once

#include <string>
#include <vector>

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
  state = 12,          // `Kestrin` in the user's state: traces of crashes
  site = 13,           // the environment's KESTRIN_SITE, for everybody who works there; none where that is not set
};

// Stores the folder, without a closing separator, in `path`. False when it can't be determined, or with `create` when
// it can't be made. "Beside the executable" is `<prefix>/share/kestrin` for an executable in `<prefix>/bin` when that
// folder exists.
bool get_folder(folder_kind kind, bool create, std::string& path);

// The folders of key definitions and texts, in the order in which they are read: what comes with the program, the
// site's, those beside the program and in the user's documents. The later one counts.
std::vector<std::string> definition_folders();
// The folders of lookup tables, in the order in which a name is looked for: the site's, and what comes with the
// program.
std::vector<std::string> lookup_folders();

// From now on site and user count for nothing: their folders are left out of both lists, and there is no site. For the
// whole process; before anything is read.
void leave_out_own_folders(bool on);
bool own_folders_left_out();

}  // namespace platform
