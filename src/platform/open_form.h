// What an open dialog knows of folders and files.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace platform {

struct open_row {
  std::string name;    // as it is shown; "shot.####.exr" for all frames of a sequence
  std::string path;    // what is opened
  std::string frames;  // of a sequence: "1001-1240"
  bool is_folder = false;
  long long bytes = 0;
  bool about = false;     // the bytes are estimated
  long long changed = 0;  // seconds since 1970
};

struct open_preview {
  int width = 0;  // of `pixels`: rows of blue, green, red, and an unused byte; 0 without a picture
  int height = 0;
  std::vector<std::uint8_t> pixels;
  std::string text;  // "1920 x 1080, 48 frames", or why there is no picture
};

struct open_form {
  // The rows of a folder. `patterns`: "*.exr"; empty or "*" lets all through. `error` says why there are none.
  std::function<std::vector<open_row>(const std::string& folder, const std::vector<std::string>& patterns,
                                      std::string& error)>
      list;
  // Asks for the first picture of a path, reduced to that size at most, in place of what was asked for before and has
  // not begun. `done` is called on another thread, if at all, perhaps after the dialog has closed. May be empty.
  std::function<void(const std::string& path, int width, int height, std::function<void(open_preview)> done)> preview;
  // Whether something stands behind a path, which may be a pattern: "shot.####.exr", "shot.%04d.exr", "shot.@.exr".
  std::function<bool(const std::string& path)> exists;
  // Folders beside the list: what is shown, and the path.
  std::vector<std::pair<std::string, std::string>> places = {};
  // Words of the dialog.
  std::string name_column, frames_column, size_column, changed_column, name_label, nothing_there;
};

}  // namespace platform
