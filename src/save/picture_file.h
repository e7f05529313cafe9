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

// Where pictures go. Default: nowhere.
struct target {
  std::string path;  // absolute
  const img::format* format = nullptr;
};

// Finds the format by the extension. Without one that can be written, false and the error line in `line`.
bool find_target(const std::string& path, target& result, std::string& line);

// Writes PATH.part and renames it when it is whole; makes missing folders. Returns the error line, empty when all went
// well. After a failure the partial file stays and an existing file of the name is untouched. Any thread; throws
// nothing but std::bad_alloc.
std::string write_picture(const picture& picture, const std::string& path, const img::format& format,
                          const img::save_options& options);

}  // namespace save
