#include "img/formats/exr/format.h"

#include "img/formats/exr/decode.h"
#include "img/formats/exr/file.h"
#include "img/formats/exr/layers.h"
#include "img/formats/exr/metadata.h"

namespace img {

void exr_fmt::list_layers(const std::string& path, std::vector<layer>& layers) const {
  layers = layers_of(exr_file(path));
}

std::vector<std::string> exr_fmt::list_channels(const std::string& path) const {
  return channels_of(exr_file(path));
}

void exr_fmt::read(image& image, const std::string& path, const layer& layer) const {
  exr_file file(path);
  const exr_picture picture = choose_picture(file, layer);
  const int planes = static_cast<int>(picture.letters.size()) + (picture.has_depth ? 1 : 0);
  file.check_picture_size(planes * 2);

  image.reset(picture.letters, 16, static_cast<int>(file.width()), static_cast<int>(file.height()));
  if (picture.has_depth) image.set_plane(4, 'Z', 16);
  image.set_path(path);
  image.set_centre_anchor();
  take_exr_attributes(file, image);
  if (!picture.shown_layer.empty()) image.metadata["shown_layer"] = picture.shown_layer;
  decode_channels(file, picture.uses, image);
  if (picture.from_chroma) decode_chroma(file, image);
}

picture_header exr_fmt::read_header(const std::string& path, const layer& layer) const {
  exr_file file(path);
  const exr_picture picture = choose_picture(file, layer);
  file.check_picture_size(2);
  picture_header header;
  header.width = static_cast<int>(file.width());
  header.height = static_cast<int>(file.height());
  header.has_alpha = picture.letters.find('A') != std::string::npos;
  header.layers = layers_of(file);
  image_info info;
  take_exr_attributes(file, info);
  header.pixel_aspect = info.pixel_aspect;
  return header;
}

const format& exr_format() {
  static const exr_fmt instance;
  return instance;
}

}  // namespace img
