// Helpers of the fuzz targets of picture readers.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "img/format.h"
#include "io/exceptions.h"

namespace fuzz {

// A file in memory that is known by a path. The readers take paths, and go through the same calls as for a real file.
class memory_file {
 public:
  memory_file() : handle_(memfd_create("fuzz", 0)), path_("/proc/self/fd/" + std::to_string(handle_)) {
    if (handle_ < 0) std::abort();
  }
  void fill(const std::uint8_t* data, std::size_t size) {
    if (ftruncate(handle_, 0) != 0 || pwrite(handle_, data, size, 0) != static_cast<ssize_t>(size)) std::abort();
  }
  const std::string& path() const { return path_; }

 private:
  int handle_;
  std::string path_;
};

// Reads the bytes as a picture of `type` with all that may be asked of a format. Only the io family may come out, and
// every plane that comes out must be there to its last byte.
inline void read_as(const char* type, const std::uint8_t* data, std::size_t size) {
  static memory_file file;
  file.fill(data, size);
  const img::format& format = *img::find_format(file.path(), type);
  img::picture_header header;
  bool header_read = false;
  std::vector<img::layer> layers(1);
  try {
    header = format.read_header(file.path(), {});
    header_read = true;
    format.list_layers(file.path(), layers);
  } catch (const io::exception&) {
  }
  for (const img::layer& layer : layers) {
    try {
      img::image image;
      format.read(image, file.path(), layer);
      if (!header_read || image.empty()) std::abort();
      if (layer.is_default() && (image.width != header.width || image.height != header.height)) std::abort();
      volatile std::uint8_t last = 0;
      for (int i = 0; i < img::image::max_planes; ++i) {
        if (image.data[i].size() !=
            (image.has_plane(i) ? img::plane_bytes(image.depth[i], image.width, image.height) : 0)) {
          std::abort();
        }
        if (image.has_plane(i)) last = image.data[i].data()[image.data[i].size() - 1];
      }
      (void)last;
    } catch (const io::exception&) {
    }
  }
}

}  // namespace fuzz
