// When the sound output opens: as soon as the document has a layer with sound, and then until the end.
#pragma once

#include "composition/state.h"
#include "playback/clock.h"

namespace app {

// Main thread.
class sound_start {
 public:
  sound_start(const ksn::state& composition, playback::clock& clock) : composition_(composition), clock_(clock) {}

  // The device of the window, or null when it goes. Not owned.
  void use(platform::audio_device* device);
  // Opens the device when there is something to hear. A device that can't be opened is left alone until retry().
  void poll();
  // A layer with sound has come.
  void retry() { failed_ = false; }

 private:
  const ksn::state& composition_;
  playback::clock& clock_;
  platform::audio_device* device_ = nullptr;
  bool failed_ = false;
};

}  // namespace app
