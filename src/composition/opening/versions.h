// Versions of a source: the same files under another `v` number in their folder or name.
#pragma once

#include <string>
#include <string_view>

#include "composition/state.h"

namespace ksn {

// A version token within a name: `v` or `V` and digits, at the start or after `_`, up to the end or `_`. In a file's
// name a dot ends it too. Stores where it stands; false for a name without one.
bool find_version_token(std::string_view name, bool is_file, std::size_t& first, std::size_t& length);
// `text` with every such token that equals `from` replaced.
std::string replace_version(std::string_view text, std::string_view from, std::string_view to);
// The token that names the version of a source: in the file's name, for a sequence in its folder, or in the nearest
// folder above that has one. Empty for none.
std::string version_of(const track_info& track);

// Takes the version at hand and those that lie beside it on disk, in the order of their numbers.
void scan_versions(track_info& track);

bool can_change_version(const state& composition);
// The selected layer goes on to the next version that has files, from the last to the first.
void layer_next_version(state& composition);
void layer_previous_version(state& composition);
// The layer shows this version. Names that were those of the file follow; the frames of the old one leave the cache. A
// version without files leaves a layer whose frames are missing.
void set_version(state& composition, track_info& track, const std::string& version);

}  // namespace ksn
