#include "playback/actions.h"

namespace playback {

void register_playback_actions(command::engine& engine, clock& clock) {
  struct row {
    const char* name;
    const char* help;
    const char* keys;
    int position;  // in the menu
    void (playback::clock::*run)();
  };
  constexpr row rows[] = {
      {"play_forward", "play forward; while it plays forward, stop", "L Up", 10, &playback::clock::play_forward},
      {"play_backward", "play backward; while it plays backward, stop", "J Down", 11, &playback::clock::play_backward},
      {"toggle_pause", "play or stop", "Space K", 12, &playback::clock::toggle_pause},
      {"reverse_playback_direction", "play in the other direction", "Shift+J", 13,
       &playback::clock::reverse_playback_direction},
  };
  for (const row& r : rows) {
    engine.add({.group = command::action_group::transport,
                .name = r.name,
                .help = r.help,
                .keys = r.keys,
                .menu = {"mi_play", r.position},
                .execute = [&clock, run = r.run] { (clock.*run)(); }});
  }
  clock.forget_frame_states = [&composition = engine.composition()] {
    for (ksn::track_info& track : composition.doc.tracks) {
      // A brush sequence marks its painted frames, which no cache knows.
      if (track.source.type != ksn::source_type::brush_sequence) track.source.frame_states.clear();
    }
  };
}

}  // namespace playback
