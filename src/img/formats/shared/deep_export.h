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

// From linear floats, each rounded once. Throws as planes_for_export().
deep_planes deep_planes_for_export(const float_image& image, const std::string& path, const save_options& options,
                                   int largest = max_dimension);
// From a picture of any form: halves and packed words through floats, bytes times 257. As planes_for_export().
deep_planes deep_planes_for_export(const image& image, const std::string& path, const save_options& options,
                                   int largest = max_dimension);

// A format whose files hold 8 or 16 bits a sample: 8 unless the options ask for 16.
class deep_format : public format {
 public:
  bool holds_16_bits() const override { return true; }
  void write(const image& image, const std::string& path, const save_options& options) const override;
  void write_float(const float_image& image, const std::string& path, const save_options& options) const override;

 private:
  virtual void write_bytes(const export_planes& planes, const std::string& path, const save_options& options) const = 0;
  virtual void write_words(const deep_planes& planes, const std::string& path, const save_options& options) const = 0;
  // The longest side of a picture that the format takes.
  virtual int most_side() const { return max_dimension; }
};

}  // namespace img
