#include "playback/actions.h"

namespace playback {

void register_playback_actions(command::engine& engine, clock& clock) {
  struct row {
    const char* name;
    void (playback::clock::*run)();
  };
  constexpr row rows[] = {
      {"play_forward", &playback::clock::play_forward},
      {"play_backward", &playback::clock::play_backward},
      {"toggle_pause", &playback::clock::toggle_pause},
      {"reverse_playback_direction", &playback::clock::reverse_playback_direction},
  };
  for (const row& r : rows) {
    engine.action_table[r.name].execute = [&clock, run = r.run] { (clock.*run)(); };
  }
  clock.forget_frame_states = [&composition = engine.composition()] {
    for (ksn::track_info& track : composition.doc.tracks) {
      // What a brush sequence marks are its painted frames, which no cache knows.
      if (track.source.type != ksn::source_type::brush_sequence) track.source.frame_states.clear();
    }
  };
}

}  // namespace playback
