#include "composition/layer/source.h"

#include <algorithm>
#include <utility>

namespace ksn {

bool layer_source::is_decoded() const {
  return type == ksn::source_type::image || type == ksn::source_type::sequence || is_clip();
}

bool layer_source::is_clip() const {
  switch (type) {
    case ksn::source_type::rtv:
    case ksn::source_type::avi:
    case ksn::source_type::directshow:
    case ksn::source_type::quicktime:
    case ksn::source_type::ph_cine:
    case ksn::source_type::r3d:
      return true;
    default:
      return false;
  }
}

bool layer_source::is_single_frame() const {
  switch (type) {
    case ksn::source_type::image:
    case ksn::source_type::clipboard_image:
    case ksn::source_type::shmem:
    case ksn::source_type::adjustment:
    case ksn::source_type::brush:
    case ksn::source_type::text:
    case ksn::source_type::video:
      return true;
    default:
      return false;
  }
}

void layer_source::take(layer_source fresh) {
  const bool has_same_layer =
      std::find(fresh.image_layers.begin(), fresh.image_layers.end(), image_layer) != fresh.image_layers.end();
  source_choices kept = *this;
  if (!has_same_layer) kept.image_layer = {};
  kept.width = fresh.width;
  kept.height = fresh.height;
  static_cast<source_choices&>(fresh) = std::move(kept);
  fresh.vdev = vdev;
  fresh.versions.clear();
  *this = std::move(fresh);
}

std::string layer_source::frame_path(int source_frame) const {
  if (type == ksn::source_type::image) return path;
  if (type == ksn::source_type::sequence) {
    if (source_frame < 0 || source_frame >= static_cast<int>(names.size())) return {};
    return file_of(static_cast<std::size_t>(source_frame));
  }
  if (is_clip() && clip) return sources::clip_frame_name(*clip, path, source_frame);
  return {};
}

}  // namespace ksn
