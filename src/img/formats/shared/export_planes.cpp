#include "img/formats/shared/export_planes.h"

#include "img/transfer.h"
#include "io/exceptions.h"

namespace img {

void check_export_size(const std::string& path, int width, int height, int largest) {
  if (width <= largest && height <= largest) return;
  throw io::invalid_format(path, "Invalid picture size " + std::to_string(width) + " x " + std::to_string(height) +
                                     ", the format takes up to " + std::to_string(largest));
}

export_planes planes_for_export(const image& image, const std::string& path, const save_options& options, int largest) {
  export_planes result;
  const img::image* source = &image;
  if (!image.empty() && image.depth[0] != 8) {
    transfer().convert(result.converted, image);
    source = &result.converted;
  }
  for (int i = 0; i < image::max_planes && result.count < 4; ++i) {
    if (source->has_plane(i) && source->depth[i] == 8 && source->format[i] != 'Z') {
      result.data[result.count++] = source->data[i].data();
    }
  }
  if (result.count == 0) throw io::invalid_format(path, "Cannot export an empty image");
  if (options.ignore_alpha && (result.count == 2 || result.count == 4)) --result.count;
  check_export_size(path, image.width, image.height, largest);
  result.width = image.width;
  result.height = image.height;
  return result;
}

}  // namespace img
