// The sound ring on an SDL audio device.
#pragma once

#include <SDL.h>

#include <cstdint>
#include <vector>

#include "platform/audio_device.h"

namespace platform {

class sdl_ring_device : public audio_device {
 public:
  ~sdl_ring_device() override;

  bool open() override;
  bool is_open() const override { return device_ != 0; }
  bool get_cursors(int& play, int& write) override;
  void write(int offset, const void* bytes, int count) override;

 private:
  SDL_AudioDeviceID device_ = 0;
  bool started_ = false;
  std::vector<std::uint8_t> ring_;  // guarded by the device's lock
  int position_ = 0;                // next byte that the device takes; guarded by the device's lock
  int block_bytes_ = 0;             // of the last callback; the same lock
  std::uint64_t taken_at_ = 0;      // performance counter of the last callback; the same lock

  static void fill(void* self, Uint8* stream, int length);
};

}  // namespace platform
