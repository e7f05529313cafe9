// The save queue in the command language: its state as fields, and what can be done to it.
#pragma once

#include <functional>

#include "command/engine.h"
#include "save/queue/queue.h"

namespace save {

// `keep_waiting`: shows that a command waits for all saves, of which `done` frames of `total` are written; false ends
// the wait. Engine and queue must outlive the tables.
void register_queue_actions(command::engine& engine, queue& queue,
                            std::function<bool(const std::string& text, int done, int total)> keep_waiting);

}  // namespace save
