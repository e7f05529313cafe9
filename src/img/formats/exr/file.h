// An OpenEXR file that is open for reading, through the core library.
#pragma once

#include <openexr.h>

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "img/formats/shared/source_file.h"

namespace img {

// One part, as the header describes it; files of the plain kind have one.
struct exr_part {
  std::string name;  // empty where none is given
  exr_storage_t storage = EXR_STORAGE_SCANLINE;
  exr_compression_t compression = EXR_COMPRESSION_NONE;
  const exr_attr_chlist_t* channels = nullptr;
  exr_attr_box2i_t data_window{};
  exr_attr_box2i_t display_window{};
  bool is_deep() const { return storage != EXR_STORAGE_SCANLINE && storage != EXR_STORAGE_TILED; }
};

// Index in the list, -1 when there is none of that exact name.
int find_channel(const exr_attr_chlist_t& channels, std::string_view name);

// One part at a time, which use_part() takes; what does not name a part speaks of that one. Throws the io family: the
// system's failures as they are, the library's as io::invalid_format with its text, or as io::eof_error where bytes are
// missing. Any thread may use an open file.
class exr_file {
 public:
  explicit exr_file(const std::string& path);
  ~exr_file();
  exr_file(const exr_file&) = delete;
  exr_file& operator=(const exr_file&) = delete;

  const std::string& path() const { return source_.path(); }
  const source_file& source() const { return source_; }
  exr_const_context_t context() const { return context_; }

  const std::vector<exr_part>& parts() const { return parts_; }
  int part() const { return part_; }
  // Deep data, and windows that no picture has, are refused.
  void use_part(int index);

  // Chunks of such a file, which may hold several parts, begin with a part number.
  bool has_parts() const { return has_parts_; }
  bool is_tiled() const { return current().storage == EXR_STORAGE_TILED; }
  exr_compression_t compression() const { return current().compression; }
  const exr_attr_chlist_t& channels() const { return *current().channels; }
  const exr_attr_box2i_t& data_window() const { return current().data_window; }
  const exr_attr_box2i_t& display_window() const { return current().display_window; }
  // Size of the display window, at least 1. Places in windows are within 30 bits.
  long long width() const { return 1LL + display_window().max.x - display_window().min.x; }
  long long height() const { return 1LL + display_window().max.y - display_window().min.y; }

  // The most that one byte of this file's coding can stand for.
  int expansion() const;
  // Throws unless a picture of the display window's size with that many bytes a pixel is one that this file can stand
  // for. Empty space around a small data window is believed up to a common size of large pictures.
  void check_picture_size(int bytes_per_pixel) const;
  // Throws what went wrong unless `result` is success.
  void check(exr_result_t result) const;

 private:
  static int64_t read_callback(exr_const_context_t, void* file, void* buffer, uint64_t size, uint64_t offset,
                               exr_stream_error_func_ptr_t);
  static int64_t size_callback(exr_const_context_t, void* file);
  static void error_callback(exr_const_context_t, exr_result_t, const char* text);
  const exr_part& current() const { return parts_[static_cast<std::size_t>(part_)]; }
  void open();
  exr_part part_at(int index) const;
  void check_window(const exr_attr_box2i_t& window) const;

  source_file source_;
  exr_context_t context_ = nullptr;
  bool has_parts_ = false;
  std::vector<exr_part> parts_;
  int part_ = 0;
  mutable std::mutex lock_;
  mutable std::string message_;  // the library's first complaint; guarded by lock_
};

}  // namespace img
