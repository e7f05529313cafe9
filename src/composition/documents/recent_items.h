// Recently used files, and documents that were replaced before they were saved. All of it is in one folder, which
// several instances share: each change is made under a lock to what is there at that moment.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "composition/state.h"
#include "io/xml_archive.h"

namespace ksn {

struct recent_item {
  std::string path;
  int flags = 0;
  bool operator==(const recent_item&) const = default;
};

// Newest first, by kind of use.
using recent_lists = std::map<std::string, std::vector<recent_item>>;

constexpr std::size_t most_recent_items = 20;  // of each kind
constexpr const char* recent_file_name = "kestrin.recent.xml";
constexpr const char* opened_items = "open";      // compositions
constexpr const char* added_items = "add";        // sources of layers
constexpr const char* unsaved_items = "unsaved";  // compositions in files of their own below the folder

// A file that is missing or can't be understood gives no items.
recent_lists read_recent(const std::string& folder);
// The body of the file, for an archive in memory. Throws as the archive.
recent_lists read_recent(io::xml_iarchive& archive);

// Removes what processes that were killed while they filed a document left below the folder.
void clear_dead_unsaved(const std::string& folder);

// Puts paths in front of a list, the last of them first; a path that is there already moves. False when another
// instance holds the lists too long. Throws the io family.
bool note_recent(const std::string& folder, const char* kind, const std::vector<std::string>& paths);

// The name under which a document is filed: of the binary form, which holds all of it; "unnamed.ksncomp" for one
// without.
std::string unsaved_name(const std::string& file_name);
// Enters a document that stands below the folder; those that fall off the end of the list are removed. Throws the io
// family.
void enter_unsaved(const std::string& folder, const std::string& path);

// Writes the document below the folder, under its own name or as "unnamed.ksncomp", and enters it. Documents that fall
// off the end of the list are removed. Throws the io family.
void file_unsaved(const std::string& folder, const state& composition);

}  // namespace ksn
