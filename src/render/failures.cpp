#include "render/failures.h"

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

}  // namespace render
