#include "platform/sdl/ring_device.h"

#include <algorithm>
#include <cstring>

namespace platform {

namespace {

// A device that asked for nothing for so long has stopped, or is gone.
constexpr double longest_block_seconds = 2.0;

}  // namespace

sdl_ring_device::~sdl_ring_device() {
  if (device_) SDL_CloseAudioDevice(device_);
  if (started_) SDL_QuitSubSystem(SDL_INIT_AUDIO);
}

bool sdl_ring_device::open() {
  if (device_) return true;
  // Kestrin handles its own signals.
  SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
  if (!started_ && SDL_InitSubSystem(SDL_INIT_AUDIO) != 0) return false;
  started_ = true;
  ring_.assign(audio_ring_bytes, 0);
  SDL_AudioSpec wanted{};
  wanted.freq = audio_rate;
  wanted.format = AUDIO_S16LSB;
  wanted.channels = 2;
  wanted.samples = 512;
  wanted.callback = fill;
  wanted.userdata = this;
  device_ = SDL_OpenAudioDevice(nullptr, 0, &wanted, nullptr, 0);
  if (!device_) return false;
  taken_at_ = SDL_GetPerformanceCounter();
  SDL_PauseAudioDevice(device_, 0);
  return true;
}

void sdl_ring_device::fill(void* self, Uint8* stream, int length) {
  auto& device = *static_cast<sdl_ring_device*>(self);
  device.block_bytes_ = length;
  device.taken_at_ = SDL_GetPerformanceCounter();
  for (int done = 0; done < length;) {
    const int step = std::min(length - done, audio_ring_bytes - device.position_);
    std::uint8_t* from = device.ring_.data() + device.position_;
    std::memcpy(stream + done, from, static_cast<std::size_t>(step));
    // Sound is heard once: a main thread that stands still for more than a second leaves silence, no loop.
    std::memset(from, 0, static_cast<std::size_t>(step));
    done += step;
    device.position_ = (device.position_ + step) % audio_ring_bytes;
  }
}

bool sdl_ring_device::get_cursors(int& play, int& write) {
  if (!device_) return false;
  SDL_LockAudioDevice(device_);
  const int position = position_;
  const int block = block_bytes_;
  const std::uint64_t taken_at = taken_at_;
  SDL_UnlockAudioDevice(device_);
  const double seconds =
      static_cast<double>(SDL_GetPerformanceCounter() - taken_at) / static_cast<double>(SDL_GetPerformanceFrequency());
  if (seconds > longest_block_seconds) return false;
  play = audio_play_cursor(position, block, seconds);
  write = (play + audio_lead_bytes) % audio_ring_bytes;
  return true;
}

void sdl_ring_device::write(int offset, const void* bytes, int count) {
  if (!device_ || count <= 0) return;
  count = std::min(count, audio_ring_bytes);
  const auto* from = static_cast<const std::uint8_t*>(bytes);
  SDL_LockAudioDevice(device_);
  for (int done = 0; done < count;) {
    const int at = (offset + done) % audio_ring_bytes;
    const int step = std::min(count - done, audio_ring_bytes - at);
    std::memcpy(ring_.data() + at, from + done, static_cast<std::size_t>(step));
    done += step;
  }
  SDL_UnlockAudioDevice(device_);
}

}  // namespace platform
