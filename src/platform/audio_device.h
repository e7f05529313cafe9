// The sound output: a looping ring of one second that the playback tick overwrites.
#pragma once

#include <cstdint>

namespace platform {

// 44,100 Hz, two channels, 16 bits signed: 4 bytes a sample frame.
constexpr int audio_rate = 44100;
constexpr int audio_frame_bytes = 4;
constexpr int audio_ring_bytes = 176400;  // one second
constexpr int audio_lead_bytes = 8820;    // 50 ms between the play cursor and the first byte that may be written

// The play cursor of a device that took a block of `block` bytes `seconds` ago, and takes the byte `next` of the ring
// with its next one. The block plays meanwhile: the cursor moves through it with the time and waits at its end, so that
// a clock that follows it does not step in blocks and never runs backward.
int audio_play_cursor(int next, int block, double seconds);

// Main thread only; the device reads the ring from a thread of its own.
class audio_device {
 public:
  virtual ~audio_device() = default;

  // Starts the ring, silent and looping. False when there is no device; the program then stays silent.
  virtual bool open() = 0;
  virtual bool is_open() const = 0;
  // Bytes into the ring: what is heard now, and the first byte that may be written. False on failure.
  virtual bool get_cursors(int& play, int& write) = 0;
  // Copies `count` bytes into the ring from `offset` on, wrapping at its end.
  virtual void write(int offset, const void* bytes, int count) = 0;
};

}  // namespace platform
