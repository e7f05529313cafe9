// The transport actions that need the clock.
#pragma once

#include "command/engine.h"
#include "playback/clock.h"

namespace playback {

// Registers play_forward, play_backward, toggle_pause and reverse_playback_direction, always enabled, and binds what
// the clock's sweep asks of the document. Engine and clock must outlive the tables.
void register_playback_actions(command::engine& engine, clock& clock);

}  // namespace playback
