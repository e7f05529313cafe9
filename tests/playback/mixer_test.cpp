#include "playback/mixer.h"

#include <gtest/gtest.h>

#include <vector>

#include "sources/wave.h"

namespace {

ksn::track_info layer_of(std::vector<std::uint8_t> data, int bits, int channels, int rate) {
  auto wave = std::make_shared<sources::wave_context>();
  wave->bits = bits;
  wave->channels = static_cast<std::uint32_t>(channels);
  wave->sample_rate = static_cast<std::uint32_t>(rate);
  wave->data = std::move(data);
  ksn::track_info track;
  track.source_type = ksn::source_type::wave;
  track.frames = 100;
  track.fpcs = 2500;
  track.audio = wave;
  track.audible = true;
  return track;
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

TEST(mixer, rate_speed_and_place) {
  std::vector<std::uint8_t> ramp;
  for (int i = 0; i < 22050; ++i) {
    ramp.push_back(static_cast<std::uint8_t>(i & 255));
    ramp.push_back(static_cast<std::uint8_t>(i >> 8));
  }
  std::vector<std::int16_t> out(2 * 100);
  auto track = layer_of(ramp, 16, 1, 22050);
  playback::render_layer(track, 0.0, 2500, 1.0, out);
  EXPECT_EQ(out[2 * 40], 20) << "half the rate: every sample twice";
  playback::render_layer(track, 10.0, 2500, 1.0, out);
  EXPECT_EQ(out[0], 8820) << "frame 10 at 25 a second is 0.4 s";
  playback::render_layer(track, 0.0, 5000, 1.0, out);
  EXPECT_EQ(out[2 * 40], 40) << "a composition at twice the rate plays it faster";
  playback::render_layer(track, 0.0, 2500, 0.5, out);
  EXPECT_EQ(out[2 * 40], 10);
  track.begin = 50;
  playback::render_layer(track, 10.0, 2500, 1.0, out);
  EXPECT_EQ(out[0], 0) << "before its start there is silence";
  track.audio.reset();
  EXPECT_FALSE(playback::render_layer(track, 60.0, 2500, 1.0, out));
}

TEST(mixer, volumes_and_saturation) {
  struct row {
    int mix, sample, volume, global, expected;
  };
  const row rows[] = {
      {0, 1000, 100, 100, 1000}, {30000, 10000, 100, 100, 32767}, {-30000, -10000, 100, 100, -32768},
      {0, 1000, 50, 100, 500},   {0, -1000, 50, 50, -250},        {5, 1000, 100, 0, 5},
      {0, 1000, 100, 400, 1000}, {0, 1000, 100, -3, 0},           {32767, 32767, 50, 100, 32767},
  };
  for (const row& r : rows) {
    std::vector<std::int16_t> mix{static_cast<std::int16_t>(r.mix)};
    const std::vector<std::int16_t> sample{static_cast<std::int16_t>(r.sample)};
    playback::add_saturated(mix, sample, r.volume, r.global);
    EXPECT_EQ(mix[0], r.expected) << r.mix << " + " << r.sample << " at " << r.volume << " " << r.global;
  }
}

}  // namespace
