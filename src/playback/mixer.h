// The audible layers of a composition as one second of sound.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "composition/state.h"
#include "platform/audio_device.h"

namespace playback {

// One layer's sound from a timeline position on, into `out`: interleaved 16-bit stereo at `sample_rate` Hz. `speed` is
// the share of real time at which the pictures run. Nearest samples, no interpolation; silence before the start and
// after the end. False for a layer without sound.
bool render_layer(const ksn::track_info& track, double position, int fpcs, double speed, std::span<std::int16_t> out,
                  int sample_rate = platform::audio_rate);

// Adds `samples` times volume times global volume (percent, each clamped to 0 to 100 for the global one) to `mix`, with
// saturation.
void add_saturated(std::span<std::int16_t> mix, std::span<const std::int16_t> samples, int volume, int global_volume);

// One second from `position` on, all audible layers in layer order.
class mixer {
 public:
  // Silence, before the first mix() and for each second.
  void clear();
  void mix(const ksn::state& composition, double position, double speed);
  std::span<const std::int16_t> second() const { return mix_; }
  // Overwrites what the device does not play: the tail of the mixed second goes after the write cursor.
  void write_to(platform::audio_device& device, double elapsed, int play, int write) const;

 private:
  std::vector<std::int16_t> mix_;  // none before the first clear(): most runs have no sound
  std::vector<std::int16_t> scratch_;
};

}  // namespace playback
