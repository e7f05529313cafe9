#include "img/picture_form.h"

namespace img {

int begin_conversion(image& out, const image& image, bool three_colors, int bits) {
  std::array<char, image::max_planes> letters{};
  if (three_colors) {
    letters = {'B', 'G', 'R'};
  } else {
    for (int i = 0; i < 3; ++i) {
      if (is_color_plane(image, i)) letters[i] = image.format[i];
    }
  }
  out.reset_like(letters, bits, image.width, image.height);
  out.copy_info(image);
  return three_colors ? shift_behind_colors(image) : 0;
}

}  // namespace img
