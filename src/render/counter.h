// The counter: of the information bar, and of a picture that is saved as the window shows it.
#pragma once

#include <string>

#include "composition/state.h"
#include "render/pipeline.h"

namespace render {

// The layer that the bar tells of: the only selected one, else the topmost visible one with a picture at that time.
// Null for none.
const ksn::track_info* told_layer(const ksn::state& composition, double time);

// The counter's text at a time of the timeline, "--" for nothing. Codes from files are told of visible layers
// alone, whose pictures are in memory.
std::string counter_text(pipeline& pipeline, const ksn::state& composition, double time);

// From the middle of a window, at scale 1; the lowest pixels of the preview area.
constexpr int counter_left = 330;
constexpr int counter_right = 470;
constexpr int counter_height = 17;

// Draws it on a plate where the information bar has it, or as far to the right as a narrower picture goes.
void draw_counter(img::image& picture, pipeline& pipeline, const ksn::state& composition, double time);

}  // namespace render
