#include "playback/mixer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "playback/sound_kernels.h"
#include "sources/wave.h"
#include "support/levels.h"

namespace {

ksn::track_info layer_of(std::vector<std::uint8_t> data, int bits, int channels, int rate) {
  auto wave = std::make_shared<sources::wave_context>();
  wave->bits = bits;
  wave->channels = static_cast<std::uint32_t>(channels);
  wave->sample_rate = static_cast<std::uint32_t>(rate);
  wave->data = std::move(data);
  ksn::track_info track;
  track.source.type = ksn::source_type::wave;
  track.source.frames = 100;
  track.source.fpcs = 2500;
  track.source.audio = wave;
  track.sound.audible = true;
  return track;
}

// The number of each sample, 16 bits.
std::vector<std::uint8_t> ramp(int count) {
  std::vector<std::uint8_t> data;
  for (int i = 0; i < count; ++i)
    data.insert(data.end(), {static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(i >> 8)});
  return data;
}

TEST(mixer, sample_forms) {
  struct row {
    const char* what;
    std::vector<std::uint8_t> data;
    int bits;
    int channels;
    std::vector<std::int16_t> expected;  // the first two output frames
  };
  const row rows[] = {
      {"mono 8 bit, silence and full", {128, 255, 0}, 8, 1, {0, 0, 127 * 257, 127 * 257}},
      {"8 bit stereo", {128, 0, 129, 127}, 8, 2, {0, -32640, 257, -1}},
      {"16 bit mono on both sides", {0x34, 0x12, 0xFF, 0xFF}, 16, 1, {0x1234, 0x1234, -1, -1}},
      {"24 bit takes the top two bytes", {9, 0x34, 0x12, 7, 0x00, 0x80}, 24, 1, {0x1234, 0x1234, -32768, -32768}},
      {"of three channels two are heard", {1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6, 0}, 16, 3, {1, 2, 4, 5}},
      {"the data ends", {5, 0}, 16, 1, {5, 5, 0, 0}},
  };
  for (const row& r : rows) {
    std::vector<std::int16_t> out(4, 77);
    ASSERT_TRUE(playback::render_layer(layer_of(r.data, r.bits, r.channels, 44100), 0.0, 2500, 1.0, out));
    EXPECT_EQ(out, r.expected) << r.what;
  }
}

TEST(mixer, places) {
  std::vector<std::int16_t> out(2 * 100);
  auto track = layer_of(ramp(22050), 16, 1, 22050);
  playback::render_layer(track, 10.0, 2500, 1.0, out);
  EXPECT_EQ(out[0], 8820) << "frame 10 at 25 a second is 0.4 s";
  playback::render_layer(track, 0.0, 5000, 0.5, out);
  EXPECT_EQ(out[2 * 40], 20) << "twice the rate, half the speed, half the samples";
  track.timing.begin = 50;
  playback::render_layer(track, 10.0, 2500, 1.0, out);
  EXPECT_EQ(out[0], 0) << "before its start there is silence";
  track.source.audio.reset();
  EXPECT_FALSE(playback::render_layer(track, 60.0, 2500, 1.0, out));

  const ksn::track_info absurd = layer_of({1, 2, 3, 4}, 16, 2, 2147483647);
  std::fill(out.begin(), out.end(), std::int16_t{77});
  ASSERT_TRUE(playback::render_layer(absurd, 99.0, 1000000000, 1.0, out));
  EXPECT_EQ(out, std::vector<std::int16_t>(out.size()));
}

// The formula for each output frame, in plain form.
TEST(mixer, every_sample_of_a_second) {
  struct row {
    int bits, channels, rate, fpcs, frames;
    double position, speed;
  };
  const row rows[] = {
      {16, 2, 44100, 2500, 200000, 0.0, 1.0},  {16, 2, 48000, 2500, 200000, 1.0 / 3, 1.0},
      {16, 2, 48000, 2397, 60000, 7.77, 1.0},  {16, 1, 22050, 3000, 200000, 12.5, 0.4},
      {24, 6, 96000, 2500, 100000, 0.01, 1.0}, {8, 1, 8000, 2500, 8001, 1.0, 1.0},
      {32, 2, 11025, 100, 5000, 0.25, 1.0},    {16, 2, 44100, 2500, 44101, 0.0, 1.0},
      {16, 2, 192000, 12000, 1000, 0.0, 1.0},
  };
  for (const row& r : rows) {
    std::vector<std::uint8_t> data(static_cast<std::size_t>(r.frames) * r.channels * (r.bits / 8));
    for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<std::uint8_t>(i * 2654435761u >> 13);
    const ksn::track_info track = layer_of(data, r.bits, r.channels, r.rate);
    std::vector<std::int16_t> out(2 * 44100, 77);
    ASSERT_TRUE(playback::render_layer(track, r.position, r.fpcs, r.speed, out));
    const double start = r.position * 100.0 / 2500;
    const double step = r.fpcs * r.speed / 2500;
    for (int i = 0; i < 44100; ++i) {
      const double t = (i * step / 44100.0 + start) * r.rate;
      // In the middle between two samples either is the nearest.
      const double part = t - std::floor(t);
      std::vector<long long> nearest;
      if (part < 0.51) nearest.push_back(static_cast<long long>(std::floor(t)));
      if (part > 0.49) nearest.push_back(static_cast<long long>(std::floor(t)) + 1);
      bool same = false;
      for (const long long index : nearest) {
        const bool inside = index < r.frames;
        same = same || (out[2 * i] == (inside ? track.source.audio->sample(index, 0) : 0) &&
                        out[2 * i + 1] == (inside ? track.source.audio->sample(index, r.channels > 1 ? 1 : 0) : 0));
      }
      ASSERT_TRUE(same) << r.rate << " frame " << i << ": " << out[2 * i] << ' ' << out[2 * i + 1];
    }
  }
}

// One tick's later sound is what the next tick plays at once, wherever between two samples the sound began.
TEST(mixer, ticks_join_without_a_step) {
  const ksn::track_info track = layer_of(ramp(30000), 16, 1, 44100);
  std::vector<std::int16_t> out(2);
  for (int tenth = 0; tenth < 10; ++tenth) {
    // Moved by whole samples, as the device does.
    double position = tenth / 10.0 / 44100 * 25;
    playback::render_layer(track, position, 2500, 1.0, out);
    int expected = out[0];
    for (const int moved : {441, 512, 1, 735, 333, 2048, 44, 1000, 4097, 3}) {
      position += 2500 * (moved * 4 / 176400.0) / 100;
      expected += moved;
      playback::render_layer(track, position, 2500, 1.0, out);
      EXPECT_EQ(out[0], expected) << tenth;
    }
  }
}

TEST(mixer, rows_of_every_instruction_set) {
  std::vector<std::int16_t> values;
  for (int i = -32768; i < 32768; i += 37) values.push_back(static_cast<std::int16_t>(i));
  support::every_level([&](const char* level) {
    for (const std::size_t n : {0, 1, 7, 8, 15, 16, 31, 33, 64, 1771}) {
      for (const int k : {-1, 0, 1, 128, 255}) {
        std::vector<std::int16_t> plain(values.rbegin(), values.rend());
        for (std::size_t i = 0; i < plain.size(); i += 3) plain[i] = values[i];
        std::vector<std::int16_t> fast = plain;
        if (k < 0) {
          playback::plain_sound_kernels().add(plain.data(), values.data(), n);
          playback::active_sound_kernels().add(fast.data(), values.data(), n);
        } else {
          playback::plain_sound_kernels().add_scaled(plain.data(), values.data(), n, k);
          playback::active_sound_kernels().add_scaled(fast.data(), values.data(), n, k);
        }
        ASSERT_EQ(fast, plain) << level << ' ' << n << ' ' << k;
      }
    }
  });
}

TEST(mixer, volumes_and_saturation) {
  struct row {
    int mix, sample, volume, global, expected;
  };
  const row rows[] = {
      {0, 1000, 100, 100, 1000},        {30000, 10000, 100, 100, 32767}, {-30000, -10000, 100, 100, -32768},
      {0, 1000, 50, 100, 500},          {0, -1000, 50, 50, -250},        {5, 1000, 100, 0, 5},
      {0, 1000, 100, 400, 1000},        {0, 1000, 100, -3, 0},           {32767, 32767, 50, 100, 32767},
      {0, 1000, 2000000000, 100, 1000}, {0, 1000, 150, 50, 750},
  };
  for (const row& r : rows) {
    std::vector<std::int16_t> mix{static_cast<std::int16_t>(r.mix)};
    const std::vector<std::int16_t> sample{static_cast<std::int16_t>(r.sample)};
    playback::add_saturated(mix, sample, r.volume, r.global);
    EXPECT_EQ(mix[0], r.expected) << r.mix << " + " << r.sample << " at " << r.volume << " " << r.global;
  }
}

}  // namespace
