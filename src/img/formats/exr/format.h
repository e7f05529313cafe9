// OpenEXR pictures, for "exr" and "sxr".
#pragma once

#include "img/format.h"

namespace img {

// Pictures have the size of the display window and 16 bits a sample; what the data window leaves out is black. Layers
// are those of all parts; deep data is refused.
class exr_fmt final : public format {
 public:
  void list_layers(const std::string& path, std::vector<layer>& layers) const override;
  void read(image& image, const std::string& path, const layer& layer) const override;
  const char* name() const override { return "exr"; }
  // Halves go out as they are, 8-bit samples count as sRGB, packed words as film log codes. Depth is left out.
  void write(const image& image, const std::string& path, const save_options& options) const override;
  bool has_native_float() const override { return true; }
  bool has_named_layers() const override { return true; }
  std::vector<std::string> list_channels(const std::string& path) const override;
  void write_float(const float_image& image, const std::string& path, const save_options& options) const override;
  picture_header read_header(const std::string& path, const layer& layer) const override;
};

}  // namespace img
