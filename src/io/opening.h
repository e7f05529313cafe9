// How this floor opens files: nothing here waits for the other end of a pipe.
#pragma once

#include <cstdio>
#include <string>

namespace io {

// A file that can be read from any place. Throws open_error for a folder (EISDIR) and for a pipe (ESPIPE), with `call`
// as its text unless that is null.
int open_to_read(const std::string& path, const char* call = nullptr);
// Creates the file or opens it as it is, and locks it against other writers; pipes and devices too. Throws open_error
// about `source`: EWOULDBLOCK for a file that somebody else holds, ENXIO for a pipe that nobody reads.
int open_to_write(const std::string& path, const std::string& source, const char* call = nullptr);
// Empties what open_to_write() gave; a pipe or a device has nothing to empty. False with errno set.
bool empty_file(int handle);

// The same as C streams; `mode` is "rb" or "wb".
std::FILE* open_stream(const std::string& path, const char* mode);

// Whether the open file is still the one of that name.
bool is_file_at(int handle, const std::string& path);

}  // namespace io
