#include "playback/mixer.h"

#include <algorithm>
#include <cmath>

#include "sources/wave.h"

namespace playback {
namespace {

std::int16_t saturate(int value) {
  return static_cast<std::int16_t>(std::clamp(value, -32768, 32767));
}

}  // namespace

bool render_layer(const ksn::track_info& track, double position, int fpcs, double speed, std::span<std::int16_t> out) {
  if (!track.audio) return false;
  std::fill(out.begin(), out.end(), std::int16_t{0});
  const sources::wave_context& wave = *track.audio;
  // The rate that the source declares, else the one it was opened with.
  const int clip_rate = track.fpcs2 > 0 ? track.fpcs2 : track.fpcs > 0 ? track.fpcs : fpcs;
  if (clip_rate <= 0) return true;
  // Outside the layer's range the source position is negative.
  const double start = track.source_position(position) * 100.0 / clip_rate;
  if (start < 0.0) return true;
  const double step = fpcs * speed / clip_rate;
  const long long frames = wave.frames();
  const int right = wave.channels > 1 ? 1 : 0;
  for (std::size_t i = 0; i < out.size() / 2; ++i) {
    const double t = (static_cast<double>(i) * step / platform::audio_rate + start) * wave.sample_rate;
    if (t > static_cast<double>(frames)) break;
    const long long index = std::llrint(t);
    if (index >= frames) break;
    out[2 * i] = static_cast<std::int16_t>(wave.sample(index, 0));
    out[2 * i + 1] = static_cast<std::int16_t>(wave.sample(index, right));
  }
  return true;
}

void add_saturated(std::span<std::int16_t> mix, std::span<const std::int16_t> samples, int volume, int global_volume) {
  const int global = std::clamp(global_volume, 0, 100);
  // Volumes have no upper limit.
  const int k = static_cast<int>(std::clamp(volume * 256LL * global / 10000, 0LL, 256LL));
  const std::size_t count = std::min(mix.size(), samples.size());
  if (k >= 256) {
    for (std::size_t i = 0; i < count; ++i) mix[i] = saturate(mix[i] + samples[i]);
  } else {
    for (std::size_t i = 0; i < count; ++i) mix[i] = saturate(mix[i] + (samples[i] * k >> 8));
  }
}

mixer::mixer() : mix_(platform::audio_ring_bytes / 2), scratch_(platform::audio_ring_bytes / 2) {}

void mixer::clear() {
  std::fill(mix_.begin(), mix_.end(), std::int16_t{0});
}

void mixer::mix(const ksn::state& composition, double position, double speed) {
  for (const ksn::track_info& track : composition.tracks) {
    if (!track.audible || !render_layer(track, position, composition.fpcs, speed, scratch_)) continue;
    add_saturated(mix_, scratch_, track.faded_value(position, track.volume), composition.volume);
  }
}

void mixer::write_to(platform::audio_device& device, double elapsed, int play, int write) const {
  if (!device.is_open() || elapsed == 0.0) return;
  int count = play - write;
  if (count <= 0) count += platform::audio_ring_bytes;
  count = std::min(count, platform::audio_ring_bytes);
  const char* bytes = reinterpret_cast<const char*>(mix_.data());
  device.write(write, bytes + (platform::audio_ring_bytes - count), count);
}

}  // namespace playback
