// The layers of a frame whose pictures failed, for whoever shows, saves or explains that frame.
#pragma once

#include <string>
#include <vector>

#include "composition/state.h"
#include "render/compositor.h"
#include "render/pipeline.h"

namespace render {

struct layer_failure {
  int index = 0;         // into state::tracks
  int source_frame = 0;  // that failed
  std::string line;      // the error line
};

// Of the layers that take part in the composite at `time`, alpha sources included, those whose last fetch failed. Asks
// what the pipeline knows and fetches nothing, so it belongs after the frame was rendered. Top of the stack first. A
// layer that has no picture at that time has not failed; one in a gap of its sequence has.
std::vector<layer_failure> failed_layers(const pipeline& pipeline, const ksn::state& composition, double time);
// The same for what one layer's own picture needs: the layer and its alpha source.
std::vector<layer_failure> failed_layers_of(const pipeline& pipeline, const ksn::state& composition, int index,
                                            double time);

}  // namespace render
