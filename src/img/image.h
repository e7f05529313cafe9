// The container through which pixels move between formats, cache, correction, compositor and screen.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "img/plane.h"
#include "img/timecode.h"
#include "lib/point.h"

namespace img {

// The columns of one row outside which a plane is zero.
struct row_hint {
  std::int32_t first = 0;
  std::int32_t last = 0;
  bool operator==(const row_hint&) const = default;
};

// Names one picture of a multi-layer file. The default is the file's main picture. Formats that list layers put that
// first; each further entry has type 2, a 1-based index and its display name.
struct layer {
  int type = 0;
  int index = -1;
  std::string name;
  bool operator==(const layer&) const = default;
  bool is_default() const { return type == 0 && index == -1 && name.empty(); }
};

// The facts that an image carries beside its pixels.
struct image_info {
  std::array<math::point, 4> user{};  // the first is the anchor, the point that placement measures from
  std::string path;                   // file the pixels came from, empty for generated images
  int mtime = 0;                      // modification time of that file in seconds, 0 unknown
  int frame = -1;                     // frame number in the file's own header, -1 unknown
  img::timecode timecode;
  img::timecode timecode2;
  img::keycode keycode;
  int frame_rate_nm = 0;  // frame rate as a fraction, 0/0 unknown
  int frame_rate_dn = 0;
  double pixel_aspect = 0;  // width of a pixel to its height, 0 unknown
  std::string note;         // what the file lacks of this picture, for the user; empty when it is whole
  std::map<std::string, std::string> metadata;  // shown to the user, in plain byte order of the names

  bool operator==(const image_info&) const = default;
};

// Planar picture of up to eight channels, without stride or padding; row 0 is the top row. The first letter and depth
// tell the pixel form of the whole image:
//   B 8    unsigned bytes, planes B G R, then A, then Z where present
//   B 16   IEEE half floats, same planes
//   L 8/16 one luminance plane, then A where present
//   U 32   10-bit log words as a big-endian file holds them: red bits 22-31, green 12-21, blue 2-11
//   u 32   the same words in host order
//   V 32   the same layout, indexed through the linear-index table
//   W 32   the same layout, result of a 3D lookup
// Planes after a packed plane hold alpha and the like at their own depth.
//
// Owned by one thread while it is built; once the frame cache holds it, it is only read, by any thread.
struct image : image_info {
  static constexpr int max_planes = 8;

  std::array<char, max_planes> format{};         // channel letters in plane order, zero where there is none
  std::array<std::uint8_t, max_planes> depth{};  // bits of each plane, 0 for none
  int width = 0;                                 // pixels
  int height = 0;
  std::array<plane, max_planes> data;
  std::array<std::vector<row_hint>, max_planes> hint;  // one pair a row, or empty for no knowledge

  image() = default;
  // As reset(); throws std::bad_alloc.
  image(std::string_view letters, int bits, int width, int height);

  // Drops all pixels and information and allocates a plane of `bits` a sample for each of the first eight letters.
  // The planes are not cleared. Width and height are trusted: readers check them against check_size() first.
  void reset(std::string_view letters, int bits, int new_width, int new_height);
  // The same with a full list of eight letters whose zero gaps stay empty.
  void reset_like(const std::array<char, max_planes>& letters, int bits, int new_width, int new_height);
  // Stores the path, and its modification time from the file system.
  void set_path(const std::string& new_path);
  // Takes all but pixels, form and size.
  void copy_info(const image_info& from) { static_cast<image_info&>(*this) = from; }
  void swap(image& other) noexcept;
  void clear();
  // Sets the anchor to the centre, as every reader and drawing source does.
  void set_centre_anchor() { user[0] = {width / 2, height / 2}; }

  // Writes the byte across the whole of each of the first planes that exist. Runs on all threads.
  void fill(std::uint8_t b, std::uint8_t g, std::uint8_t r, std::uint8_t a);
  void fill(std::uint8_t b, std::uint8_t g, std::uint8_t r, std::uint8_t a, std::uint8_t z);

  bool empty() const { return data[0].empty(); }
  bool has_plane(int index) const { return index >= 0 && index < max_planes && !data[index].empty(); }
  // Index of the plane with this letter, -1 when there is none.
  int plane_of(char letter) const;
  bool is_packed() const { return depth[0] == 32; }
  // Number of planes up to the first gap.
  int plane_count() const;
  // Adds or replaces plane `index` with an uncleared one.
  void set_plane(int index, char letter, int bits);

  template <class T = std::uint8_t>
  T* row(int index, int y) {
    return data[index].as<T>() + static_cast<std::size_t>(y) * width;
  }
  template <class T = std::uint8_t>
  const T* row(int index, int y) const {
    return data[index].as<T>() + static_cast<std::size_t>(y) * width;
  }
};

using image_ptr = std::shared_ptr<image>;
using const_image_ptr = std::shared_ptr<const image>;

// Bytes of one plane.
constexpr std::size_t plane_bytes(int bits, int width, int height) {
  return static_cast<std::size_t>((bits + 7) / 8) * static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
}

constexpr int max_dimension = 65535;  // pixels, either way

// Throws io::invalid_format(source, ...) unless both sizes are 1 to max_dimension.
void check_dimensions(const std::string& source, long long width, long long height);

// Throws io::invalid_format(source, ...) unless both sizes are 1 to 65535 and a picture of `bytes_per_pixel` in all its
// planes could stand in `available` bytes of source data times `expansion`, the most that the coding at hand can give
// for one byte. The guard that every reader calls before it allocates.
void check_size(const std::string& source, long long width, long long height, int bytes_per_pixel, long long available,
                int expansion);

// Unclamped floats, for saving to floating-point files: blue, green, red and maybe alpha.
struct float_image : image_info {
  int width = 0;
  int height = 0;
  std::array<std::vector<float>, 4> data;  // width * height samples each; the fourth is empty without alpha

  void reset(bool with_alpha, int new_width, int new_height);
};

}  // namespace img
