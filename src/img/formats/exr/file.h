// An OpenEXR file that is open for reading, through the core library.
#pragma once

#include <openexr.h>

#include <mutex>
#include <string>

#include "img/formats/shared/source_file.h"

namespace img {

// Its first part. Throws the io family: the system's failures as they are, the library's as io::invalid_format with its
// text, or as io::eof_error where bytes are missing. Deep data is refused. Any thread may use an open file.
class exr_file {
 public:
  explicit exr_file(const std::string& path);
  ~exr_file();
  exr_file(const exr_file&) = delete;
  exr_file& operator=(const exr_file&) = delete;

  const std::string& path() const { return source_.path(); }
  const source_file& source() const { return source_; }
  exr_const_context_t context() const { return context_; }

  // Chunks of such a file, which may hold several parts, begin with a part number.
  bool is_multipart() const { return is_multipart_; }
  bool is_tiled() const { return storage_ == EXR_STORAGE_TILED; }
  exr_compression_t compression() const { return compression_; }
  const exr_attr_chlist_t& channels() const { return *channels_; }
  // Index in channels(), -1 when there is none of that exact name.
  int find_channel(const std::string& name) const;
  const exr_attr_box2i_t& data_window() const { return data_window_; }
  const exr_attr_box2i_t& display_window() const { return display_window_; }
  // Size of the display window, at least 1. Places in windows are within 30 bits.
  long long width() const { return 1LL + display_window_.max.x - display_window_.min.x; }
  long long height() const { return 1LL + display_window_.max.y - display_window_.min.y; }

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
  void open();
  void check_window(const exr_attr_box2i_t& window) const;

  source_file source_;
  exr_context_t context_ = nullptr;
  bool is_multipart_ = false;
  exr_storage_t storage_ = EXR_STORAGE_SCANLINE;
  exr_compression_t compression_ = EXR_COMPRESSION_NONE;
  const exr_attr_chlist_t* channels_ = nullptr;
  exr_attr_box2i_t data_window_{};
  exr_attr_box2i_t display_window_{};
  mutable std::mutex lock_;
  mutable std::string message_;  // the library's first complaint; guarded by lock_
};

}  // namespace img
