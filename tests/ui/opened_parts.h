// All that a window needs beside a display, over an empty composition. Nothing is read and nothing is decoded.
#pragma once

#include "cache/frame_cache.h"
#include "cache/reading/frame_board.h"
#include "cache/reading/frame_scheduler.h"
#include "command/engine.h"
#include "command/keys.h"
#include "composition/state.h"
#include "lib/error_record.h"
#include "playback/clock.h"
#include "render/pipeline.h"
#include "ui/area.h"

namespace support {

struct opened_parts {
  ksn::state composition;
  cache::frame_cache frames;
  cache::frame_scheduler reading{frames};
  cache::frame_board board{reading};
  command::engine engine{composition};
  render::pipeline pipeline{frames, {}};
  playback::clock clock{composition, frames};
  command::key_table keys;
  lib::error_record errors;

  // Panels bind to fields when they are made.
  opened_parts() { command::register_fields(engine); }
  ui::subjects subjects() { return {composition, engine, pipeline, clock, keys, errors, board, "Name 1.2"}; }
};

}  // namespace support
