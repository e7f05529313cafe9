#include "render/failures.h"

#include <cmath>

#include "render/blend.h"

namespace render {
namespace {

void add_failure(std::vector<layer_failure>& failures, const pipeline& pipeline, const ksn::state& composition,
                 int index, double time) {
  const ksn::track_info& track = composition.doc.track_at(index);
  const double position = track.source_position(time);
  if (position < 0.0) return;
  const int source_frame = static_cast<int>(position);
  const std::string* line = pipeline.failure_of(track.id, source_frame);
  if (line) failures.push_back({index, source_frame, *line});
}

}  // namespace

std::vector<layer_failure> failed_layers(const pipeline& pipeline, const ksn::state& composition, double time) {
  std::vector<layer_failure> failures;
  const std::vector<bool> taking_part = layers_taking_part(composition);
  for (std::size_t i = 0; i < taking_part.size(); ++i) {
    if (taking_part[i]) add_failure(failures, pipeline, composition, static_cast<int>(i), time);
  }
  return failures;
}

std::vector<layer_failure> failed_layers_of(const pipeline& pipeline, const ksn::state& composition, int index,
                                            double time) {
  std::vector<layer_failure> failures;
  add_failure(failures, pipeline, composition, index, time);
  const int source = composition.doc.index_of_id(composition.doc.track_at(index).look.alpha_source_id);
  if (source >= 0 && source != index) add_failure(failures, pipeline, composition, source, time);
  return failures;
}

rectangle picture_place(const ksn::track_info& track, const frame_view& view) {
  if (track.source.width <= 0 || track.source.height <= 0) return {};
  const layer_geometry scale = layer_scale(track, view.zoom_x, view.zoom_y, ksn::cache_resolution_type::full);
  const rectangle size = placed_rectangle({}, track.source.width, track.source.height, {}, scale);
  const math::point centre = layer_centre(track, view, view.width, view.height);
  const math::point corner{centre.x - size.right / 2, centre.y - size.bottom / 2};
  return {corner.x, corner.y, corner.x + size.right, corner.y + size.bottom};
}

}  // namespace render
