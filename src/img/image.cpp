#include "img/image.h"

#include <algorithm>
#include <utility>

#include "io/exceptions.h"
#include "platform/files.h"

namespace img {

image::image(std::string_view letters, int bits, int width, int height) {
  reset(letters, bits, width, height);
}

void image::reset(std::string_view letters, int bits, int new_width, int new_height) {
  std::array<char, max_planes> list{};
  std::copy_n(letters.begin(), std::min<std::size_t>(letters.size(), max_planes), list.begin());
  // The list of letters ends at the first zero.
  std::fill(std::find(list.begin(), list.end(), '\0'), list.end(), '\0');
  reset_like(list, bits, new_width, new_height);
}

void image::reset_like(const std::array<char, max_planes>& letters, int bits, int new_width, int new_height) {
  const std::array<char, max_planes> list = letters;  // may be this image's own
  clear();
  width = new_width;
  height = new_height;
  for (int i = 0; i < max_planes; ++i) {
    if (list[i]) set_plane(i, list[i], bits);
  }
}

void image::set_path(const std::string& new_path) {
  path = new_path;
  mtime = platform::modification_time(path);
}

void image::swap(image& other) noexcept {
  std::swap(static_cast<image_info&>(*this), static_cast<image_info&>(other));
  std::swap(format, other.format);
  std::swap(depth, other.depth);
  std::swap(width, other.width);
  std::swap(height, other.height);
  for (int i = 0; i < max_planes; ++i) data[i].swap(other.data[i]);
  hint.swap(other.hint);
}

void image::clear() {
  image().swap(*this);
}

void image::fill(std::uint8_t b, std::uint8_t g, std::uint8_t r, std::uint8_t a) {
  const std::uint8_t values[] = {b, g, r, a};
  for (int i = 0; i < 4; ++i) fill_plane(data[i], values[i]);
}

void image::fill(std::uint8_t b, std::uint8_t g, std::uint8_t r, std::uint8_t a, std::uint8_t z) {
  fill(b, g, r, a);
  fill_plane(data[4], z);
}

int image::plane_of(char letter) const {
  for (int i = 0; i < max_planes; ++i) {
    if (letter && format[i] == letter) return i;
  }
  return -1;
}

int image::plane_count() const {
  int count = 0;
  while (has_plane(count)) ++count;
  return count;
}

void image::set_plane(int index, char letter, int bits) {
  data[index] = plane();  // its block may serve again
  data[index] = plane(plane_bytes(bits, width, height));
  depth[index] = static_cast<std::uint8_t>(bits);
  format[index] = letter;
}

void check_dimensions(const std::string& source, long long width, long long height) {
  if (width < 1 || height < 1 || width > max_dimension || height > max_dimension) {
    throw io::invalid_format(source, "Invalid picture size " + std::to_string(width) + " x " + std::to_string(height) +
                                         ", expected 1 to " + std::to_string(max_dimension));
  }
}

void check_size(const std::string& source, long long width, long long height, int bytes_per_pixel, long long available,
                int expansion) {
  check_dimensions(source, width, height);
  const long long needed = width * height * bytes_per_pixel;
  // 65535 x 65535 pixels of 64 bytes stay far below the range, as do `available` bytes of a real file.
  if (needed / expansion > available) {
    throw io::invalid_format(source, "Picture size " + std::to_string(width) + " x " + std::to_string(height) +
                                         " needs more data than the " + std::to_string(available) +
                                         " bytes of the file");
  }
}

void float_image::reset(bool with_alpha, int new_width, int new_height) {
  *this = float_image();
  width = new_width;
  height = new_height;
  const std::size_t samples = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  for (int i = 0; i < (with_alpha ? 4 : 3); ++i) data[i].resize(samples);
}

}  // namespace img
