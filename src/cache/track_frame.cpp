#include "cache/track_frame.h"

#include <utility>

#include "io/exceptions.h"

namespace cache {
namespace {

const img::format& format_of(const std::string& path) {
  const img::format* format = img::find_format(path);
  if (!format) throw io::invalid_format(path, "Unrecognized file type");
  return *format;
}

}  // namespace

bool has_frame(const ksn::track_info& track, int source_frame, const std::string& path) {
  return source_frame >= 0 && source_frame < track.source.frames && !path.empty() &&
         (!track.source.is_clip() || track.source.clip);
}

frame_key key_of_frame(const ksn::track_info& track, int source_frame, ksn::cache_resolution_type resolution) {
  frame_key key;
  key.path = track.source.frame_path(source_frame);
  key.layer_type = track.source.image_layer.type;
  key.layer_index = track.source.image_layer.index;
  key.layer_name = track.source.image_layer.name;
  if (track.source.type == ksn::source_type::r3d) {
    const ksn::r3d_color_settings& settings = track.source.rcs;
    key.decoder_preset = static_cast<int>(track.source.rds);
    key.r3d_color_settings = {static_cast<int>(settings.preset),
                              settings.kelvin,
                              settings.tint,
                              settings.iso,
                              settings.flut,
                              settings.color_space,
                              settings.gamma_curve,
                              settings.track};
  }
  key.resolution = static_cast<int>(resolution);
  key.has_lookup = track.look.tf.lookup_table.has_cube();
  key.lookup_hash = track.look.tf.lookup_table.cube_hash();
  return key;
}

std::optional<frame_request> request_of(const ksn::track_info& track, int source_frame, frame_key key) {
  if (!has_frame(track, source_frame, key.path)) return std::nullopt;
  frame_request request;
  if (track.source.is_clip()) {
    request.clip = track.source.clip;
  } else {
    request.format = &format_of(key.path);
  }
  request.source_frame = source_frame;
  if (key.has_lookup) request.lookup = track.look.tf.lookup_table;
  request.revalidate = track.source.auto_update;
  request.layer_id = track.id;
  request.key = std::move(key);
  return request;
}

std::optional<frame_request> request_of(const ksn::track_info& track, int source_frame,
                                        ksn::cache_resolution_type resolution) {
  frame_key key = key_of_frame(track, source_frame, resolution);
  if (!track.source.is_clip() && !img::find_format(key.path)) return std::nullopt;
  return request_of(track, source_frame, std::move(key));
}

}  // namespace cache
