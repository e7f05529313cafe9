// The samples that a writer of 16-bit pictures takes from an image.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "img/formats/shared/export_planes.h"

namespace img {

// Fractions of 65535, colours sRGB encoded: one gray plane, gray and alpha, or blue, green, red and maybe alpha.
struct deep_planes {
  int count = 0;
  int width = 0;
  int height = 0;
  std::array<std::vector<std::uint16_t>, 4> data;

  const std::uint16_t* row(int plane, int y) const {
    return data[static_cast<std::size_t>(plane)].data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(width);
  }
};

// From linear floats, each rounded once. Throws io::invalid_format(path, "Cannot export an empty image").
deep_planes deep_planes_for_export(const float_image& image, const std::string& path, const save_options& options);
// From a picture of any form: halves and packed words through floats, bytes times 257. As planes_for_export().
deep_planes deep_planes_for_export(const image& image, const std::string& path, const save_options& options,
                                   int largest = max_dimension);

}  // namespace img
