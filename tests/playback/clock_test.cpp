#include "playback/clock.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "cache/track_frame.h"
#include "playback/actions.h"
#include "sources/wave.h"
#include "support/fake_clip.h"

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

TEST(clock, a_stall_longer_than_the_work_area_stays_inside) {
  struct row {
    ksn::repeat_type repeat;
    bool forward;
    double expected;
  };
  for (const row& r : {row{ksn::repeat_type::loop, true, 10.0}, row{ksn::repeat_type::loop, false, 20.0},
                       row{ksn::repeat_type::ping_pong, true, 20.0}, row{ksn::repeat_type::ping_pong, false, 10.0},
                       row{ksn::repeat_type::none, true, 20.0}, row{ksn::repeat_type::none, false, 10.0}}) {
    stage s(2500, 10, 20, r.repeat);
    s.composition.can_drop_frames = true;
    s.composition.forward = r.forward;
    s.composition.tm_t = 12.0;
    s.tick(60.0);
    EXPECT_EQ(s.composition.tm_t, r.expected) << static_cast<int>(r.repeat) << r.forward;
  }
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
  bool readable = true;
  int play = 0;
  std::vector<char> ring = std::vector<char>(platform::audio_ring_bytes, 0);
  int written_at = -1;
  int written = 0;

  bool open() override { return running = true; }
  bool is_open() const override { return running; }
  bool get_cursors(int& p, int& w) override {
    if (!readable) return false;
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

TEST(clock, who_gives_the_time) {
  // 0.2 s of the ring, 0.08 s of the output and the timer's own: five, two and so many frames of 25 a second.
  struct row {
    const char* what;
    bool device, cursors, audible, forward, output;
    double timer;
    double frames;
  };
  const row rows[] = {
      {"sound", true, true, true, true, false, 0.04, 5.0},
      {"sound goes before the output", true, true, true, true, true, 0.04, 5.0},
      {"no device, timer", false, true, true, true, false, 0.04, 1.0},
      {"no device, output", false, true, true, true, true, 0.04, 2.0},
      {"nothing audible", true, true, false, true, false, 0.04, 1.0},
      {"nothing audible, output", true, true, false, true, true, 0.04, 2.0},
      {"backward", true, true, true, false, false, 0.04, -1.0},
      {"cursors can't be read", true, false, true, true, false, 0.04, 1.0},
      {"just below a stall", true, true, true, true, false, 0.899, 5.0},
      {"a stall", true, true, true, true, false, 0.9, 22.5},
      {"a stall with an output", true, true, true, true, true, 0.9, 2.0},
  };
  for (const row& r : rows) {
    stage s(2500, 0, 250, ksn::repeat_type::loop);
    s.composition.can_drop_frames = true;
    s.composition.forward = r.forward;
    s.composition.tm_t = 100.0;
    made_up_device device;
    if (r.device) s.playback.audio = &device;
    int asked = 0;
    if (r.output) s.playback.device_clock = [&](double) { return ++asked, 0.08; };
    s.composition.tracks.push_back(sounding_layer(250, 1000));
    s.composition.tracks[0].audible = r.audible;
    s.tick(0.0);
    s.composition.tm_t = 100.0;
    device.readable = r.cursors;
    device.play = platform::audio_ring_bytes / 5;
    s.tick(r.timer);
    EXPECT_NEAR(s.composition.tm_t - 100.0, r.frames, 1e-6) << r.what;
    EXPECT_EQ(asked, r.output ? 2 : 0) << r.what;
  }
}

TEST(clock, sound_holds_its_rate_whatever_may_be_dropped) {
  for (const bool drop : {false, true}) {
    stage s(2500, 0, 250, ksn::repeat_type::loop);
    s.composition.can_drop_frames = drop;
    made_up_device device;
    s.playback.audio = &device;
    s.composition.tracks.push_back(sounding_layer(250, 1000));
    s.tick(0.0);
    device.play = platform::audio_ring_bytes / 2;
    s.tick(0.04);
    EXPECT_NEAR(s.composition.tm_t, 12.5, 1e-6);
  }
}

TEST(clock, a_device_that_was_just_opened_makes_no_jump) {
  stage s(2500, 0, 250, ksn::repeat_type::loop);
  made_up_device device;
  device.play = 100000;
  s.playback.audio = &device;
  s.composition.tracks.push_back(sounding_layer(250, 1000));
  s.tick(0.04);
  EXPECT_NEAR(s.composition.tm_t, 1.0, 1e-6);
}

TEST(clock, silence_flows_while_the_position_stands) {
  struct row {
    const char* what;
    bool playing, modal;
    double elapsed;
    bool written;
  };
  for (const row& r : {row{"stopped", false, false, 0.04, true}, row{"a gesture", true, true, 0.04, true},
                       row{"no time went by", true, false, 0.0, false}}) {
    stage s(2500, 0, 250, ksn::repeat_type::loop);
    made_up_device device;
    s.playback.audio = &device;
    s.composition.tracks.push_back(sounding_layer(250, 1000));
    s.tick(0.02);
    ASSERT_EQ(device.sample(20000), 1000);
    device.written = 0;
    s.composition.playing = r.playing;
    if (r.elapsed != 0.0) device.play = 4000;
    s.playback.tick(r.elapsed, r.modal);
    EXPECT_EQ(device.written != 0, r.written) << r.what;
    EXPECT_EQ(device.sample(20000), r.written ? 0 : 1000) << r.what;
  }
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

// A clip whose frames all are in the cache, oldest first.
struct cached_loop {
  stage s;
  ksn::track_info& track;

  cached_loop(int first, int end)
      : s(2500, first, end, ksn::repeat_type::loop),
        track(s.composition.tracks.emplace_back(support::plain_layer(end, "BGR", 1, 1, {1, 2, 3}))) {
    for (int i = 0; i < end; ++i) {
      s.cache.touch(s.cache.get_clip_frame(key(i), *track.clip, i, nullptr));
    }
  }
  cache::frame_key key(int frame) const { return cache::key_of_frame(track, frame, ksn::cache_resolution_type::full); }
  // The frames in the order in which they would be given up.
  std::string order() {
    std::string out;
    std::vector<bool> gone(static_cast<std::size_t>(track.frames));
    while (s.cache.evict_oldest()) {
      for (int i = 0; i < track.frames; ++i) {
        if (gone[static_cast<std::size_t>(i)] || s.cache.find(key(i))) continue;
        gone[static_cast<std::size_t>(i)] = true;
        out += std::to_string(i) + " ";
      }
    }
    return out;
  }
};

TEST(clock, sweep_and_ahead_touch) {
  struct row {
    const char* what;
    int first, end, current;
    const char* order;
  };
  // Touched last stands last.
  const row sweeps[] = {
      {"from the start", 0, 8, 0, "6 7 5 4 3 2 1 0 "},
      {"around the end", 0, 12, 6, "3 2 1 0 4 11 10 9 5 8 7 6 "},
      {"a part of the layer", 2, 8, 3, "0 1 7 6 2 5 4 3 "},
      {"one frame", 3, 4, 3, "0 1 2 3 "},
      {"outside", 2, 6, 0, "0 1 2 3 4 5 "},
  };
  for (const row& r : sweeps) {
    cached_loop loop(r.first, r.end);
    loop.s.composition.tm_t = r.current;
    loop.s.playback.keep_alive_sweep();
    EXPECT_EQ(loop.order(), r.order) << r.what;
  }
  // Work area of 12: a third, a sixth and a twelfth ahead of the new frame.
  const row touches[] = {
      {"inside", 0, 12, 2, "0 1 2 3 6 8 9 10 11 7 5 4 "},
      {"around the end", 0, 12, 8, "0 2 3 4 5 6 7 8 9 1 11 10 "},
  };
  for (const row& r : touches) {
    cached_loop loop(r.first, r.end);
    loop.s.composition.tm_t = r.current;
    loop.s.tick(0.04);
    EXPECT_EQ(loop.order(), r.order) << r.what;
  }
}

TEST(clock, what_is_not_cached_is_not_touched) {
  const auto change = [](cached_loop& loop, int which) {
    if (which == 0) loop.track.visible = false;
    if (which == 1) loop.track.disable_cache = true;
    if (which == 2) loop.track.begin = 100;
  };
  for (const int which : {0, 1, 2}) {
    cached_loop loop(0, 8);
    change(loop, which);
    loop.s.playback.keep_alive_sweep();
    loop.track.begin = 0;
    EXPECT_EQ(loop.order(), "0 1 2 3 4 5 6 7 ") << which;
  }
}

TEST(clock, actions_of_the_transport) {
  stage s(2500, 3, 4, ksn::repeat_type::loop);
  command::engine engine(s.composition);
  playback::register_playback_actions(engine, s.playback);
  auto& c = s.composition;
  c.playing = false;
  c.tracks.push_back(sounding_layer(10, 0));
  c.tracks.push_back(sounding_layer(10, 0));
  c.tracks[1].source_type = ksn::source_type::brush_sequence;
  const auto state_after = [&](const char* action) {
    for (ksn::track_info& track : c.tracks) track.frame_states.assign(4, 2);
    EXPECT_TRUE(engine.action_enabled(action));
    engine.execute_action(action);
    std::string out = !c.playing ? "stopped" : c.forward ? "forward" : "backward";
    if (c.tracks[0].frame_states.empty()) out += " swept";
    EXPECT_EQ(c.tracks[1].frame_states.size(), 4u) << "painted frames are known without the cache";
    return out;
  };
  c.tm_t = 3;
  EXPECT_EQ(state_after("play_forward"), "forward swept");
  EXPECT_EQ(state_after("play_forward"), "stopped");
  EXPECT_EQ(state_after("toggle_pause"), "forward swept");
  EXPECT_EQ(state_after("reverse_playback_direction"), "backward");
  EXPECT_EQ(state_after("toggle_pause"), "stopped");
  EXPECT_EQ(state_after("toggle_pause"), "backward");
  EXPECT_EQ(state_after("play_backward"), "stopped");
  EXPECT_EQ(state_after("play_backward"), "backward");
  EXPECT_EQ(state_after("play_forward"), "forward swept");
  EXPECT_EQ(state_after("reverse_playback_direction"), "backward");
  EXPECT_EQ(state_after("reverse_playback_direction"), "forward");
}

}  // namespace
