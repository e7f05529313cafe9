// Helpers of the fuzz targets of picture readers.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "heap_meter.h"
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

// How much of one input is decoded, for formats whose real files would take the time of thousands of small ones.
struct limits {
  long long pixels = std::numeric_limits<long long>::max();  // of a picture; of a larger one the header alone is read
  std::size_t layers = std::numeric_limits<std::size_t>::max();
  bool own_sizes = false;  // of the layers, which are parts of a file
};

// What a reader may ask for beside the pictures: rows of every thread, tables of a library.
constexpr long long memory_beside_pictures = 64 << 20;

inline long long bytes_of(const img::image& image) {
  long long bytes = 0;
  for (const img::plane& plane : image.data) bytes += static_cast<long long>(plane.size());
  return bytes;
}

// Reads the bytes as a picture of `type` with all that may be asked of a format. Only the io family may come out,
// every plane that comes out must be there to its last byte, and no reader may hold more than twice its picture: four
// planes of halves and one of depth where the read failed. False for an input of which only the header was read.
inline bool read_as(const char* type, const std::uint8_t* data, std::size_t size, const limits& limits = {}) {
  static memory_file file;
  file.fill(data, size);
  const img::format& format = *img::find_format(file.path(), type);
  img::picture_header header;
  bool header_read = false;
  std::vector<img::layer> layers(1);
  heap_meter meter;
  try {
    header = format.read_header(file.path(), {});
    header_read = true;
    format.list_layers(file.path(), layers);
  } catch (const io::exception&) {
  }
  meter.expect_at_most(memory_beside_pictures);
  if (header_read && 1LL * header.width * header.height > limits.pixels) return false;
  // The main picture, and the others in turn: which ones come first is up to the input.
  for (std::size_t i = 0; i < std::min(layers.size(), limits.layers); ++i) {
    const img::layer& layer = layers[i == 0 ? 0 : 1 + (size + i) % (layers.size() - 1)];
    img::image image;
    img::picture_header own = header;
    long long picture = 0;
    meter.restart();
    try {
      if (limits.own_sizes && header_read && !layer.is_default()) own = format.read_header(file.path(), layer);
      if (1LL * own.width * own.height > limits.pixels) continue;
      picture = 10LL * own.width * own.height;
      format.read(image, file.path(), layer);
      if (!header_read || image.empty()) std::abort();
      picture = bytes_of(image);
      if (layer.is_default() && (image.width != header.width || image.height != header.height)) std::abort();
      volatile std::uint8_t last = 0;
      for (int p = 0; p < img::image::max_planes; ++p) {
        if (image.data[p].size() !=
            (image.has_plane(p) ? img::plane_bytes(image.depth[p], image.width, image.height) : 0)) {
          std::abort();
        }
        if (image.has_plane(p)) last = image.data[p].data()[image.data[p].size() - 1];
      }
      (void)last;
    } catch (const io::exception&) {
    }
    meter.expect_at_most(2 * picture + memory_beside_pictures);
  }
  return true;
}

}  // namespace fuzz
