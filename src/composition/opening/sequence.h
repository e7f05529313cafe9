// From a path to the frames of a layer: one image or a numbered sequence, its files on disk, their order and gaps.
#pragma once

#include <functional>
#include <span>
#include <string>

#include "composition/opening/natural_order.h"
#include "composition/opening/sequence_pattern.h"
#include "composition/track_info.h"

namespace ksn {

using error_sink = std::function<void(const std::string& line)>;

enum class scan_result { found, one_file, nothing };

// Fills `record` from the files that match a folder with a pattern, in one listing and with the header of the first.
// Forced, holes stay closed, a single file is a sequence, and when there is no file `fallback_name` is the one frame,
// unless it is empty. For one_file the record holds the folder and, in `names`, the file. A folder that was read
// already is given as its names in `listed`.
scan_result scan_folder(const std::string& pattern_path, track_info& record, alpha_type default_alpha, bool forced,
                        const std::string& fallback_name, const name_list* listed = nullptr);
// scan_folder() as a source is opened, where one file is a still. `given` is the path that the user gave: a file of
// that very name is a still too. False, after one line about it, when there is nothing.
bool scan_sequence(const std::string& pattern_path, const std::string& given, track_info& record,
                   alpha_type default_alpha, const error_sink& errors);
// False, after one line, when there is no such file.
bool add_single_image(const std::string& path, track_info& record, alpha_type default_alpha, const error_sink& errors);
// All images in the folder.
bool add_folder(const std::string& path, track_info& record, alpha_type default_alpha, const error_sink& errors);
// Makes the record the frames that `range` lists, those without a file included. False for a text that is no range.
bool make_range(const std::string& pattern_path, const std::string& range, track_info& record,
                alpha_type default_alpha);

// The name that a layer has from its source alone: of the file, the pattern or the folder.
std::string name_of_source(const track_info& record);
// Takes the names, with their number as the number of frames; nothing is known of the frames yet. `holes` as for
// frame_names.
void set_frame_names(track_info& record, name_list names, std::vector<std::uint32_t> holes = {});
// Looks up which frames of these sequences have no file, as a search would know it, with one listing of each folder.
// One that can't be listed has no files when it is not there, and says nothing else.
void find_holes(std::span<track_info* const> sequences);
// Size, alpha mode and image layers from the header of a file; a file that can't be read leaves the defaults.
// Throws std::bad_alloc.
void read_first_header(track_info& record, const std::string& path, alpha_type default_alpha);

}  // namespace ksn
