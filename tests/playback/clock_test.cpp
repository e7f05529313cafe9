#include "playback/clock.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "sources/wave.h"

namespace {

using playback::clock;

struct stage {
  ksn::state composition;
  cache::frame_cache cache;
  clock playback{composition, cache};

  stage(int fpcs, int first, int end, ksn::repeat_type repeat) {
    composition.tm_n = std::max(250, end);
    composition.tm_f = first;
    composition.tm_l = end;
    composition.fpcs = fpcs;
    composition.repeat = repeat;
    composition.playing = true;
    cache.memory_load = [] { return 0; };
  }
  void tick(double elapsed) { playback.tick(elapsed, false); }
};

std::string frames_shown(stage& s, double elapsed, int ticks) {
  std::string out;
  for (int i = 0; i < ticks; ++i) {
    s.tick(elapsed);
    out += std::to_string(static_cast<int>(s.composition.tm_t)) + (s.composition.playing ? " " : "| ");
  }
  return out;
}

TEST(clock, lists_of_frames) {
  struct row {
    const char* what;
    ksn::repeat_type repeat;
    bool forward;
    bool drop;
    double start;
    double elapsed;
    const char* frames;
  };
  // Work area 2 to 6 at 10 frames a second: 0.1 s is one frame, 0.25 s two and a half.
  const row rows[] = {
      {"loop", ksn::repeat_type::loop, true, false, 2, 0.1, "3 4 5 2 3 4 5 2 "},
      {"loop backward", ksn::repeat_type::loop, false, false, 4, 0.1, "3 2 5 4 3 2 5 4 "},
      {"ping-pong", ksn::repeat_type::ping_pong, true, false, 3.5, 0.1, "4 5 5 4 3 2 2 3 "},
      {"once", ksn::repeat_type::none, true, false, 3, 0.1, "4 5 6| 6| 6| 6| 6| 6| "},
      {"once backward", ksn::repeat_type::none, false, false, 3.5, 0.1, "2 2| 2| 2| 2| 2| 2| 2| "},
      {"slow machine keeps every frame", ksn::repeat_type::loop, true, false, 2, 0.25, "3 4 5 2 3 4 5 2 "},
      {"slow machine drops", ksn::repeat_type::loop, true, true, 2, 0.25, "4 3 5 4 2 5 3 2 "},
      {"from before the work area", ksn::repeat_type::loop, true, false, 0, 0.1, "3 4 5 2 3 4 5 2 "},
      {"from behind it, backward", ksn::repeat_type::loop, false, false, 100, 0.1, "5 4 3 2 5 4 3 2 "},
  };
  for (const row& r : rows) {
    stage s(1000, 2, 6, r.repeat);
    s.composition.forward = r.forward;
    s.composition.can_drop_frames = r.drop;
    s.composition.tm_t = r.start;
    EXPECT_EQ(frames_shown(s, r.elapsed, 8), r.frames) << r.what;
  }
}

TEST(clock, fractions_at_the_ends) {
  stage bounce(3000, 0, 100, ksn::repeat_type::ping_pong);
  bounce.composition.tm_t = 99.3;
  bounce.tick(1.0 / 30.0);
  EXPECT_NEAR(bounce.composition.tm_t, 99.7, 1e-9);
  EXPECT_FALSE(bounce.composition.forward);

  stage loop(3000, 0, 100, ksn::repeat_type::loop);
  loop.composition.tm_t = 99.5;
  loop.tick(1.0 / 30.0);
  EXPECT_NEAR(loop.composition.tm_t, 0.5, 1e-9);

  stage drops(3000, 0, 100, ksn::repeat_type::loop);
  drops.composition.can_drop_frames = true;
  drops.tick(0.05);
  EXPECT_NEAR(drops.composition.tm_t, 1.5, 1e-9);
  drops.composition.can_drop_frames = false;
  drops.tick(0.05);
  EXPECT_NEAR(drops.composition.tm_t, 2.5, 1e-9);
}

TEST(clock, stands_still) {
  stage s(2500, 0, 100, ksn::repeat_type::loop);
  s.playback.tick(0.04, true);
  EXPECT_EQ(s.composition.tm_t, 0.0) << "a gesture holds the position";
  s.tick(0.0);
  EXPECT_EQ(s.composition.tm_t, 0.0);
  s.composition.fpcs = 0;
  s.tick(0.04);
  EXPECT_EQ(s.composition.tm_t, 0.0) << "a rate of zero";
}

TEST(clock, transport) {
  stage s(2500, 10, 20, ksn::repeat_type::none);
  auto& c = s.composition;
  c.playing = false;
  c.tm_t = 20;
  s.playback.play_forward();
  EXPECT_TRUE(c.playing && c.forward);
  EXPECT_EQ(c.tm_t, 10.0) << "from the end, once, it starts over";
  s.playback.play_forward();
  EXPECT_FALSE(c.playing) << "twice stops";
  s.playback.play_backward();
  EXPECT_TRUE(c.playing && !c.forward);
  EXPECT_EQ(c.tm_t, 20.0);
  c.repeat = ksn::repeat_type::loop;
  c.playing = false;
  c.tm_t = 20;
  s.playback.play_forward();
  EXPECT_EQ(c.tm_t, 20.0) << "a loop does not move first";
  s.playback.reverse_playback_direction();
  EXPECT_TRUE(c.playing && !c.forward);
  s.playback.toggle_pause();
  EXPECT_FALSE(c.playing);
}

TEST(clock, millisecond_counter_wraps) {
  EXPECT_DOUBLE_EQ(playback::elapsed_seconds(5, 0xFFFFFFFBu), 0.010);
  EXPECT_DOUBLE_EQ(playback::elapsed_seconds(1040, 1000), 0.040);
}

TEST(clock, output_counter) {
  playback::device_counter counter;
  EXPECT_FALSE(counter.read(100, 2500));
  EXPECT_DOUBLE_EQ(counter.read(101, 2500).value(), 0.04);
  EXPECT_DOUBLE_EQ(counter.read(104, 2500).value(), 0.04) << "a jump of three is jitter";
  EXPECT_DOUBLE_EQ(counter.read(112, 2500).value(), 0.4) << "102 was kept, so this is ten frames";
  EXPECT_FALSE(counter.read(50, 2500));
}

// A ring that the test moves by hand.
struct made_up_device : platform::audio_device {
  bool running = true;
  int play = 0;
  std::vector<char> ring = std::vector<char>(platform::audio_ring_bytes, 0);
  int written_at = -1;
  int written = 0;

  bool open() override { return running = true; }
  bool is_open() const override { return running; }
  bool get_cursors(int& p, int& w) override {
    p = play;
    w = (play + platform::audio_lead_bytes) % platform::audio_ring_bytes;
    return true;
  }
  void write(int offset, const void* bytes, int count) override {
    written_at = offset;
    written = count;
    for (int i = 0; i < count; ++i) ring[(offset + i) % ring.size()] = static_cast<const char*>(bytes)[i];
  }
  std::int16_t sample(int byte) const {
    return static_cast<std::int16_t>(static_cast<unsigned char>(ring[byte]) | ring[byte + 1] << 8);
  }
};

ksn::track_info sounding_layer(int frames, std::int16_t level) {
  auto wave = std::make_shared<sources::wave_context>();
  wave->sample_rate = 44100;
  wave->bits = 16;
  wave->channels = 1;
  wave->data.resize(44100 * 2 * 10);
  for (std::size_t i = 0; i < wave->data.size(); i += 2) {
    wave->data[i] = static_cast<std::uint8_t>(level & 255);
    wave->data[i + 1] = static_cast<std::uint8_t>(level >> 8);
  }
  ksn::track_info track;
  track.source_type = ksn::source_type::wave;
  track.frames = frames;
  track.fpcs = 2500;
  track.audio = wave;
  track.audible = true;
  return track;
}

TEST(clock, the_device_is_the_master) {
  stage s(2500, 0, 250, ksn::repeat_type::loop);
  made_up_device device;
  s.playback.audio = &device;
  s.composition.tracks.push_back(sounding_layer(250, 1000));
  s.tick(0.001);
  const double start = s.composition.tm_t;

  device.play += platform::audio_ring_bytes / 5;
  s.tick(0.5);
  EXPECT_NEAR(s.composition.tm_t - start, 5.0, 1e-6) << "0.2 s of sound, whatever the timer says";
  const double before = s.composition.tm_t;
  device.play = (device.play + platform::audio_ring_bytes / 10 * 9) % platform::audio_ring_bytes;
  s.tick(0.8);
  EXPECT_NEAR(s.composition.tm_t - before, 22.5, 1e-6) << "across the end of the ring";
  const double jump = s.composition.tm_t;
  s.tick(1.0);
  EXPECT_NEAR(s.composition.tm_t - jump, 25.0, 1e-6) << "a stall takes the timer";
}

TEST(clock, sound_reaches_the_ring_behind_the_lead) {
  stage s(2500, 0, 250, ksn::repeat_type::loop);
  made_up_device device;
  device.play = 44100;
  s.playback.audio = &device;
  s.composition.tracks.push_back(sounding_layer(250, 1000));
  s.tick(0.04);
  EXPECT_EQ(device.written_at, 44100 + platform::audio_lead_bytes);
  EXPECT_EQ(device.written, platform::audio_ring_bytes - platform::audio_lead_bytes);
  EXPECT_EQ(device.sample(60000), 1000);
  EXPECT_EQ(device.sample(44100), 0) << "what plays now is not touched";

  s.composition.forward = false;
  device.play += 4000;
  s.tick(0.04);
  EXPECT_EQ(device.sample(60000), 0) << "backward play is silent";
}

}  // namespace
