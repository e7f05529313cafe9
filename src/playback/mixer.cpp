#include "playback/mixer.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "composition/time/frame_rate.h"
#include "playback/sound_kernels.h"
#include "sources/wave.h"

namespace playback {
namespace {

// Output frames whose places in the source are found together, in a loop that the compiler makes vectors of.
constexpr int block_frames = 1024;
// A double below 2^31 plus this holds the nearest integer, the even one of two, in its lowest bits.
constexpr double rounding_bias = 6755399441055744.0;
// Sound that starts between two samples, just in the middle, always takes the later one: without it the noise of the
// last bits would choose again in each tick, and the sound would step back and forth.
constexpr double tie_bias = 1.0 / 1024;
constexpr double farthest_sample = 2147480000.0;

struct place {
  double start;  // seconds
  double step;   // source seconds for one of the output
  double rate;   // of the source, in Hz
  int out_rate;  // of the output
};

void nearest_samples(const place& at, int first, std::array<std::int32_t, block_frames>& index) {
  for (int i = 0; i < block_frames; ++i) {
    const double t = ((first + i) * at.step / at.out_rate + at.start) * at.rate;
    index[static_cast<std::size_t>(i)] =
        static_cast<std::int32_t>(std::bit_cast<std::int64_t>(t + tie_bias + rounding_bias));
  }
}

struct sample_pair {
  std::int16_t left, right;
};

// The common form: two channels of 16 bits are copied as they lie there.
void copy_pairs(const sources::wave_context& wave, const std::int32_t* index, std::size_t count, std::int16_t* out) {
  const std::uint8_t* data = wave.data.data();
  for (std::size_t i = 0; i < count; ++i) {
    std::memcpy(out + 2 * i, data + static_cast<std::size_t>(index[i]) * sizeof(sample_pair), sizeof(sample_pair));
  }
}

}  // namespace

bool render_layer(const ksn::track_info& track, double position, int fpcs, double speed, std::span<std::int16_t> out,
                  int sample_rate) {
  if (!track.source.audio) return false;
  std::fill(out.begin(), out.end(), std::int16_t{0});
  const sources::wave_context& wave = *track.source.audio;
  // The rate that the source declares, else the one it was opened with.
  const int clip_rate = track.source.fpcs2 > 0 ? track.source.fpcs2 : track.source.fpcs > 0 ? track.source.fpcs : fpcs;
  if (clip_rate <= 0) return true;
  // Outside the layer's range the source position is negative.
  const double frames_a_second = ksn::exact_rate(clip_rate).value();
  const double start = track.source_position(position) / frames_a_second;
  if (start < 0.0) return true;
  const place at{start, ksn::exact_rate(fpcs).value() * speed / frames_a_second, static_cast<double>(wave.sample_rate),
                 sample_rate};
  const auto frames = static_cast<double>(wave.frames());
  const int right = wave.channels > 1 ? 1 : 0;
  const bool pairs = std::endian::native == std::endian::little && wave.bits == 16 && wave.channels == 2;
  const int wanted = static_cast<int>(out.size() / 2);
  std::array<std::int32_t, block_frames> index;
  for (int first = 0; first < wanted; first += block_frames) {
    const int last = first + block_frames;
    if ((last * at.step / at.out_rate + at.start) * at.rate > farthest_sample) break;
    nearest_samples(at, first, index);
    // After the data there is silence. The places only ever rise.
    const auto end = std::lower_bound(index.begin(), index.begin() + std::min(block_frames, wanted - first), frames);
    const auto count = static_cast<std::size_t>(end - index.begin());
    std::int16_t* to = out.data() + 2 * static_cast<std::size_t>(first);
    if (pairs) {
      copy_pairs(wave, index.data(), count, to);
    } else {
      for (std::size_t i = 0; i < count; ++i) {
        to[2 * i] = static_cast<std::int16_t>(wave.sample(index[i], 0));
        to[2 * i + 1] = static_cast<std::int16_t>(wave.sample(index[i], right));
      }
    }
    if (count < block_frames) break;
  }
  return true;
}

void add_saturated(std::span<std::int16_t> mix, std::span<const std::int16_t> samples, int volume, int global_volume) {
  const int global = std::clamp(global_volume, 0, 100);
  // Volumes have no upper limit.
  const int k = static_cast<int>(std::clamp(volume * 256LL * global / 10000, 0LL, 256LL));
  const std::size_t count = std::min(mix.size(), samples.size());
  if (k >= 256) {
    active_sound_kernels().add(mix.data(), samples.data(), count);
  } else {
    active_sound_kernels().add_scaled(mix.data(), samples.data(), count, k);
  }
}

void mixer::clear() {
  mix_.assign(platform::audio_ring_bytes / 2, 0);
}

void mixer::mix(const ksn::state& composition, double position, double speed) {
  scratch_.resize(platform::audio_ring_bytes / 2);
  for (const ksn::track_info& track : composition.doc.tracks) {
    if (!track.sound.audible || !render_layer(track, position, composition.doc.fpcs, speed, scratch_)) continue;
    add_saturated(mix_, scratch_, track.faded_value(position, track.sound.volume), composition.settings.volume);
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
