#include "platform/audio_device.h"

#include <algorithm>

namespace platform {

int audio_play_cursor(int next, int block, double seconds) {
  const double played = std::clamp(seconds, 0.0, 1.0) * audio_rate;
  const int moved = std::min(block, static_cast<int>(played) * audio_frame_bytes);
  return (next - block + moved + audio_ring_bytes) % audio_ring_bytes;
}

}  // namespace platform
