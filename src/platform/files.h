// Questions to the file system, and files that appear whole or not at all.
#pragma once

#include <cstdint>
#include <string>

namespace platform {

// Modification time in seconds, 0 when the file can't be examined.
int modification_time(const std::string& path);
// A number that is another one when the file was written or replaced in between; 0 when it can't be examined.
std::uint64_t file_stamp(const std::string& path);
bool is_folder(const std::string& path);
// Anything at all by that name, a folder too.
bool file_exists(const std::string& path);
// A symbolic link, whatever it points to.
bool is_link(const std::string& path);
// Size in bytes, -1 when the file can't be examined.
std::int64_t file_size(const std::string& path);

// Makes the folder and its missing parents; true when it exists afterwards, else errno says why not.
bool make_folders(const std::string& path);

// Renames over `to`. Throws nothing; returns 0 or the errno.
int rename_file(const std::string& from, const std::string& to);

// Milliseconds of a steady clock, as an unsigned counter that wraps.
std::uint32_t milliseconds();

}  // namespace platform
