// The counter of the information bar.
#pragma once

#include <string>

#include "composition/state.h"
#include "render/pipeline.h"

namespace ui {

// The layer that the bar tells of: the only selected one, else the topmost visible one with a picture at that time.
// Null for none.
const ksn::track_info* told_layer(const ksn::state& composition, double time);

// The counter's text at a time of the timeline, "--" for nothing. Codes from files are told of visible layers
// alone, whose pictures are in memory.
std::string counter_text(render::pipeline& pipeline, const ksn::state& composition, double time);

}  // namespace ui
