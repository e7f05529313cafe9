// What the tip of a layer's row tells of its source.
#pragma once

#include <string>

#include "ui/area.h"

namespace ui {

// Lines that begin with a line feed each; empty for most layers. Of a picture in shared memory what its writer says of
// it, of a source that fell silent why, of sound its level.
std::string layer_facts(const workbench& bench, const ksn::track_info& track);

}  // namespace ui
