#include "cache/reading/frame_request.h"

#include "lib/paths.h"

namespace cache {

img::const_image_ptr read_through(frame_cache& cache, const frame_request& request) {
  const img::const_image_ptr image =
      request.clip ? cache.get_clip_frame(request.key, *request.clip, request.source_frame, &request.lookup)
                   : cache.get_file_frame(request.key, *request.format, request.revalidate, &request.lookup);
  if (image) cache.touch(image);
  return image;
}

img::const_image_ptr read_directly(const frame_request& request) {
  const frame_key& key = request.key;
  auto image = std::make_shared<img::image>();
  if (!request.clip) {
    request.format->read(*image, key.path, {key.layer_type, key.layer_index, key.layer_name});
  } else {
    if (!request.clip->read(request.source_frame, 0, *image)) return nullptr;
    image->path = key.path;
  }
  return image;
}

std::string file_of(const frame_request& request) {
  const std::string& path = request.key.path;
  return request.clip ? path.substr(0, path.rfind('\\')) : path;
}

std::string source_of(const frame_request& request) {
  return request.clip ? file_of(request) : lib::folder_of(request.key.path);
}

bool same_reading(const frame_request& a, const frame_request& b) {
  const frame_key& x = a.key;
  const frame_key& y = b.key;
  return x.path == y.path && x.layer_type == y.layer_type && x.layer_index == y.layer_index &&
         x.layer_name == y.layer_name;
}

}  // namespace cache
