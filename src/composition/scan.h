// The steps of sequence detection that the ways into the stack share.
#pragma once

#include <string>

#include "composition/track_info.h"

namespace ksn {

enum class scan_result { found, one_file, nothing };

// scan_sequence() without error lines. For one_file the record holds the folder and, in `names`, the file. A
// folder that was read already is given as its names in `listed`.
scan_result scan_folder(const std::string& pattern_path, track_info& record, alpha_type default_alpha, bool forced,
                        const std::string& fallback_name, const name_list* listed = nullptr);
// Makes the record the frames that `range` lists. False for a text that is no range.
bool make_range(const std::string& pattern_path, const std::string& range, track_info& record,
                alpha_type default_alpha);
// The name that a layer has from its source alone: of the file, the pattern or the folder.
std::string name_of_source(const track_info& record);
// Takes the names, with their number as the number of frames; nothing is known of the frames yet.
void set_frame_names(track_info& record, name_list names);
// Size, alpha mode and image layers from the header of a file; a file that can't be read leaves the defaults.
void read_first_header(track_info& record, const std::string& path, alpha_type default_alpha);

}  // namespace ksn
