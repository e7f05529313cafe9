// The samples that a writer of 8-bit pictures takes from an image.
#pragma once

#include <cstdint>
#include <string>

#include "img/format.h"
#include "img/image.h"

namespace img {

// One gray plane, gray and alpha, three colours, or three colours and alpha, in that order of `count`. The planes lie
// in the image that was given or in `converted`, and live as long as both.
struct export_planes {
  int count = 0;
  int width = 0;
  int height = 0;
  const std::uint8_t* data[4] = {};
  image converted;

  const std::uint8_t* row(int plane, int y) const {
    return data[plane] + static_cast<std::size_t>(y) * static_cast<std::size_t>(width);
  }
};

// Throws io::invalid_format for a side beyond what a format takes.
void check_export_size(const std::string& path, int width, int height, int largest);

// The plane that a file holds as channel `channel` of `count` when its colours come red first.
constexpr int plane_red_first(int count, int channel) {
  return count >= 3 && channel < 3 ? 2 - channel : channel;
}

// The first four planes but depth, without alpha when the options leave it out. A picture that is not 8-bit is
// converted with default colour settings. Throws io::invalid_format(path, ...) for an image without planes
// ("Cannot export an empty image") and for sizes outside 1 to `largest`.
export_planes planes_for_export(const image& image, const std::string& path, const save_options& options,
                                int largest = max_dimension);

}  // namespace img
