// One picture to one file, and what is said when that fails.
#pragma once

#include <memory>
#include <string>

#include "img/format.h"
#include "img/image.h"

namespace save {

// The content of a file: bytes, or floats where those are set. Neither set: there is no picture, and `failure` says why
// where that is known.
struct picture {
  img::const_image_ptr bytes;
  std::shared_ptr<const img::float_image> floats;
  std::string failure;
  explicit operator bool() const { return bytes || floats; }
};

// Where pictures go: into files of a format, or all into one movie. Default: nowhere.
struct target {
  std::string path;  // absolute
  const img::format* format = nullptr;
  std::string container = {};  // of a movie: its extension
  std::string codec = {};      // of a movie: a name of sources::movie_codecs(); empty: what the container has

  bool is_movie() const { return !container.empty(); }
};

// Finds the format by the extension. Without one that can be written, false and the error line in `line`.
bool find_target(const std::string& path, target& result, std::string& line);
// The same for a walk over frames, which may go into a movie. `codec` is what the user chose for movies, or empty.
bool find_walk_target(const std::string& path, const std::string& codec, target& result, std::string& line);

// Writes PATH.part and renames it when it is whole; makes missing folders. Returns the error line, empty when all went
// well. After a failure the partial file is removed and an existing file of the name is untouched. Any thread; throws
// nothing but std::bad_alloc.
std::string write_picture(const picture& picture, const std::string& path, const img::format& format,
                          const img::save_options& options);

// Whether a file has a picture of the format that can be read to its end. Any thread; throws nothing.
bool is_whole(const std::string& path, const img::format& format);

// The error line of a file that can't be made, from the system's number.
std::string create_error(const std::string& path, int number);

}  // namespace save
