// The fields of loading ahead: what it may take, and what it is doing.
#pragma once

#include "cache/reading/frame_loader.h"
#include "command/engine.h"

namespace app {

// The values live as long as the program: memory_limit, readers, fill_at_rest; and, to be read only, frame_cache and
// frame_reading.
void register_loading_fields(command::engine& engine, cache::frame_loader& loader);

}  // namespace app
