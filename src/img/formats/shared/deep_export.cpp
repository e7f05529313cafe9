#include "img/formats/shared/deep_export.h"

#include "img/formats/shared/deep_samples.h"
#include "img/transfer.h"
#include "io/exceptions.h"
#include "lib/parallel.h"

namespace img {

deep_planes deep_planes_for_export(const float_image& image, const std::string& path, const save_options& options,
                                   int largest) {
  if (image.width <= 0 || image.height <= 0) throw io::invalid_format(path, "Cannot export an empty image");
  check_export_size(path, image.width, image.height, largest);
  deep_planes result;
  result.count = image.data[3].empty() || options.ignore_alpha ? 3 : 4;
  result.width = image.width;
  result.height = image.height;
  const auto width = static_cast<std::size_t>(image.width);
  const std::size_t samples = width * static_cast<std::size_t>(image.height);
  for (std::size_t p = 0; p < static_cast<std::size_t>(result.count); ++p) result.data[p].resize(samples);
  lib::parallel_rows(image.height, static_cast<long long>(samples), [&](int first, int last) {
    const std::size_t begin = static_cast<std::size_t>(first) * width;
    const std::size_t count = static_cast<std::size_t>(last - first) * width;
    for (std::size_t p = 0; p < static_cast<std::size_t>(result.count); ++p) {
      encode16(result.data[p].data() + begin, image.data[p].data() + begin, count, p == 3);
    }
  });
  return result;
}

deep_planes deep_planes_for_export(const image& image, const std::string& path, const save_options& options,
                                   int largest) {
  if (!image.empty() && image.depth[0] != 8) {
    float_image floats;
    transfer().convert_float(floats, image, true);
    return deep_planes_for_export(floats, path, options, largest);
  }
  const export_planes planes = planes_for_export(image, path, options, largest);
  deep_planes result;
  result.count = planes.count;
  result.width = image.width;
  result.height = image.height;
  const std::size_t samples = static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height);
  for (std::size_t p = 0; p < static_cast<std::size_t>(planes.count); ++p) {
    result.data[p].resize(samples);
    for (std::size_t i = 0; i < samples; ++i) result.data[p][i] = static_cast<std::uint16_t>(257 * planes.data[p][i]);
  }
  return result;
}

void deep_format::write(const image& image, const std::string& path, const save_options& options) const {
  if (options.bits == 16) {
    write_words(deep_planes_for_export(image, path, options, most_side()), path, options);
  } else {
    write_bytes(planes_for_export(image, path, options, most_side()), path, options);
  }
}

void deep_format::write_float(const float_image& image, const std::string& path, const save_options& options) const {
  if (options.bits != 16) return format::write_float(image, path, options);
  write_words(deep_planes_for_export(image, path, options, most_side()), path, options);
}

}  // namespace img
