// DPX and Cineon film scans, for "dpx" and "cin".
#pragma once

#include "img/format.h"

namespace img {

// Reads both byte orders of both formats. Samples of 10, 12 and 16 bits become a plane of packed 10-bit words, form U
// from big-endian 10-bit RGB and u from all else, without their lower bits, luma in all three fields, alpha as a plane
// of bytes after it. 8 bits stay bytes, floats become halves. Writes little-endian 10-bit DPX.
class dpx_fmt final : public format {
 public:
  void read(image& image, const std::string& path, const layer& layer) const override;
  const char* name() const override { return "dpx"; }
  // Packed words go out as they are; 8-bit samples count as sRGB, half samples as linear. Alpha is left out.
  void write(const image& image, const std::string& path, const save_options& options) const override;
  bool has_native_float() const override { return true; }
  void write_float(const float_image& image, const std::string& path, const save_options& options) const override;
  picture_header read_header(const std::string& path, const layer& layer) const override;
};

}  // namespace img
