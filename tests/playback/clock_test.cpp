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
using enum ksn::repeat_type;

struct stage {
  ksn::state composition;
  cache::frame_cache cache;
  clock playback{composition, cache};

  stage(int fpcs, int first, int end, ksn::repeat_type repeat) {
    composition.doc.tm_n = std::max(250, end);
    composition.doc.tm_f = first;
    composition.doc.tm_l = end;
    composition.doc.fpcs = fpcs;
    composition.doc.repeat = repeat;
    composition.doc.playing = true;
    cache.memory_load = [] { return 0; };
  }
  void tick(double elapsed) { playback.tick(elapsed, false); }
};

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
      {"loop", loop, true, false, 2, 0.1, "3 4 5 2 3 4 5 2 "},
      {"loop backward", loop, false, false, 4, 0.1, "3 2 5 4 3 2 5 4 "},
      {"ping-pong", ping_pong, true, false, 3.5, 0.1, "4 5 5 4 3 2 2 3 "},
      {"once", none, true, false, 3, 0.1, "4 5 6| 6| 6| 6| 6| 6| "},
      {"once backward", none, false, false, 3.5, 0.1, "2 2| 2| 2| 2| 2| 2| 2| "},
      {"slow machine keeps every frame", loop, true, false, 2, 0.25, "3 4 5 2 3 4 5 2 "},
      {"slow machine drops", loop, true, true, 2, 0.25, "4 3 5 4 2 5 3 2 "},
      {"from before the work area", loop, true, false, 0, 0.1, "3 4 5 2 3 4 5 2 "},
      {"from after it, backward", loop, false, false, 100, 0.1, "5 4 3 2 5 4 3 2 "},
  };
  for (const row& r : rows) {
    stage s(1000, 2, 6, r.repeat);
    s.composition.doc.forward = r.forward;
    s.composition.doc.can_drop_frames = r.drop;
    s.composition.doc.tm_t = r.start;
    std::string frames;
    for (int i = 0; i < 8; ++i) {
      s.tick(r.elapsed);
      frames += std::to_string(static_cast<int>(s.composition.doc.tm_t)) + (s.composition.doc.playing ? " " : "| ");
    }
    EXPECT_EQ(frames, r.frames) << r.what;
  }
}

TEST(clock, fractions_and_stalls) {
  struct row {
    const char* what;
    int fpcs;
    ksn::repeat_type repeat;
    bool forward, drop, modal;
    double start, elapsed, expected;
  };
  // Work area 10 to 20.
  const row rows[] = {
      {"a bounce", 3000, ping_pong, true, false, false, 19.3, 1.0 / 30, 19.7},
      {"around the end", 3000, loop, true, false, false, 19.5, 1.0 / 30, 10.5},
      {"a late tick drops", 3000, loop, true, true, false, 10, 0.05, 11.5},
      {"a late tick takes the next frame", 3000, loop, true, false, false, 10, 0.05, 11},
      {"a stall longer than a loop", 2500, loop, true, true, false, 12, 60, 10},
      {"backward", 2500, loop, false, true, false, 12, 60, 20},
      {"than a ping-pong", 2500, ping_pong, true, true, false, 12, 60, 20},
      {"backward", 2500, ping_pong, false, true, false, 12, 60, 10},
      {"than a play", 2500, none, true, true, false, 12, 60, 20},
      {"backward", 2500, none, false, true, false, 12, 60, 10},
      {"a gesture holds the position", 2500, loop, true, true, true, 12, 0.04, 12},
      {"no time went by", 2500, loop, true, true, false, 30, 0, 30},
      {"a rate of zero", 0, loop, true, true, false, 12, 0.04, 12},
  };
  for (const row& r : rows) {
    stage s(r.fpcs, 10, 20, r.repeat);
    s.composition.doc.forward = r.forward;
    s.composition.doc.can_drop_frames = r.drop;
    s.composition.doc.tm_t = r.start;
    s.playback.tick(r.elapsed, r.modal);
    EXPECT_NEAR(s.composition.doc.tm_t, r.expected, 1e-9) << r.what << r.elapsed;
    const bool turned = r.repeat == ping_pong && !r.modal;
    EXPECT_EQ(s.composition.doc.forward, turned ? !r.forward : r.forward) << r.what;
  }
}

// Played once to its end, the position rests after the last frame, which stays on screen.
TEST(clock, the_frame_that_is_shown) {
  stage s(1000, 2, 6, none);
  auto& c = s.composition;
  const auto shown = [&] { return static_cast<int>(s.playback.shown_time()); };
  c.doc.tm_t = 5;
  EXPECT_EQ(shown(), 5);
  s.tick(0.1);
  ASSERT_EQ(c.doc.tm_t, 6.0);
  EXPECT_EQ(shown(), 5);
  s.tick(0.1);
  EXPECT_EQ(shown(), 5);
  c.doc.set_current_time(7);
  EXPECT_EQ(shown(), 7);
  s.tick(0.1);
  c.doc.set_current_time(6);
  EXPECT_EQ(shown(), 6) << "a place that was chosen is itself";
  c.doc.set_current_time(250);
  EXPECT_EQ(shown(), 249) << "the timeline's last";
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
  bool readable = true;
  int play = 0;
  std::vector<char> ring = std::vector<char>(platform::audio_ring_bytes, 0);
  int written_at = -1;
  int written = 0;

  bool open() override { return true; }
  bool is_open() const override { return true; }
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

constexpr int level = 1000;

// Ten seconds of one level.
ksn::track_info sounding_layer(int frames) {
  auto wave = std::make_shared<sources::wave_context>();
  wave->sample_rate = 44100;
  wave->bits = 16;
  wave->channels = 1;
  wave->data.resize(44100 * 2 * 10);
  for (std::size_t i = 0; i < wave->data.size(); ++i) {
    wave->data[i] = static_cast<std::uint8_t>(level >> (i & 1 ? 8 : 0));
  }
  ksn::track_info track;
  track.source.type = ksn::source_type::wave;
  track.source.frames = frames;
  track.source.fpcs = 2500;
  track.source.audio = wave;
  track.sound.audible = true;
  return track;
}

struct sounding_stage : stage {
  made_up_device device;
  sounding_stage() : stage(2500, 0, 250, loop) {
    playback.audio = &device;
    composition.doc.tracks.push_back(sounding_layer(250));
  }
};

TEST(clock, who_gives_the_time) {
  // 0.2 s of the ring, 0.08 s of the output and the timer's own: five, two and so many frames of 25 a second.
  struct row {
    const char* what;
    bool device, cursors, audible, forward, output, drop;
    int play;  // where the ring begins
    double timer;
    double frames;
  };
  const row rows[] = {
      {"sound", true, true, true, true, false, true, 0, 0.04, 5.0},
      {"across the end of the ring", true, true, true, true, false, true, 170000, 0.04, 5.0},
      {"sound drops frames in any case", true, true, true, true, false, false, 0, 0.04, 5.0},
      {"sound goes before the output", true, true, true, true, true, true, 0, 0.04, 5.0},
      {"no device, timer", false, true, true, true, false, true, 0, 0.04, 1.0},
      {"no device, output", false, true, true, true, true, true, 0, 0.04, 2.0},
      {"nothing audible", true, true, false, true, false, true, 0, 0.04, 1.0},
      {"nothing audible, output", true, true, false, true, true, true, 0, 0.04, 2.0},
      {"backward", true, true, true, false, false, true, 0, 0.04, -1.0},
      {"cursors can't be read", true, false, true, true, false, true, 0, 0.04, 1.0},
      {"just below a stall", true, true, true, true, false, true, 0, 0.899, 5.0},
      {"a stall", true, true, true, true, false, true, 0, 0.9, 22.5},
      {"a stall with an output", true, true, true, true, true, true, 0, 0.9, 2.0},
  };
  for (const row& r : rows) {
    sounding_stage s;
    s.composition.doc.can_drop_frames = r.drop;
    s.composition.doc.forward = r.forward;
    s.composition.doc.tm_t = 100.0;
    if (!r.device) s.playback.audio = nullptr;
    int asked = 0;
    if (r.output) s.playback.device_clock = [&](double) { return ++asked, 0.08; };
    s.composition.doc.tracks[0].sound.audible = r.audible;
    s.device.play = r.play;
    s.tick(0.0);
    s.composition.doc.tm_t = 100.0;
    s.device.readable = r.cursors;
    s.device.play = (r.play + platform::audio_ring_bytes / 5) % platform::audio_ring_bytes;
    s.tick(r.timer);
    EXPECT_NEAR(s.composition.doc.tm_t - 100.0, r.frames, 1e-6) << r.what;
    EXPECT_EQ(asked, r.output ? 2 : 0) << r.what;
  }
  sounding_stage just_opened;
  just_opened.device.play = 100000;
  just_opened.tick(0.04);
  EXPECT_NEAR(just_opened.composition.doc.tm_t, 1.0, 1e-6) << "no jump by what it played before";
}

TEST(clock, sound_reaches_the_ring_behind_the_lead) {
  struct row {
    const char* what;
    bool playing, modal, forward;
    double elapsed;
    int heard;  // -1: nothing is written
  };
  const row rows[] = {{"playing", true, false, true, 0.04, level},
                      {"stopped", false, false, true, 0.04, 0},
                      {"a gesture", true, true, true, 0.04, 0},
                      {"backward", true, false, false, 0.04, 0},
                      {"no time went by", true, false, true, 0.0, -1}};
  for (const row& r : rows) {
    sounding_stage s;
    s.device.play = 44100;
    s.tick(0.04);
    EXPECT_EQ(s.device.written_at, 44100 + platform::audio_lead_bytes);
    EXPECT_EQ(s.device.written, platform::audio_ring_bytes - platform::audio_lead_bytes);
    EXPECT_EQ(s.device.sample(44100), 0) << "what plays now is not touched";
    ASSERT_EQ(s.device.sample(20000), level);
    s.device.written = 0;
    s.composition.doc.playing = r.playing;
    s.composition.doc.forward = r.forward;
    if (r.elapsed != 0.0) s.device.play += 4000;
    s.playback.tick(r.elapsed, r.modal);
    EXPECT_EQ(s.device.written != 0, r.heard >= 0) << r.what;
    EXPECT_EQ(s.device.sample(20000), r.heard < 0 ? level : r.heard) << r.what;
  }
}

// A clip whose frames all are in the cache, oldest first.
struct cached_loop {
  stage s;
  ksn::track_info& track;

  cached_loop(int first, int end)
      : s(2500, first, end, loop),
        track(s.composition.doc.tracks.emplace_back(support::plain_layer(end, "BGR", 1, 1, {1, 2, 3}))) {
    for (int i = 0; i < end; ++i) s.cache.touch(s.cache.get_clip_frame(key(i), *track.source.clip, i, nullptr));
  }
  cache::frame_key key(int frame) const { return cache::key_of_frame(track, frame, ksn::cache_resolution_type::full); }
  // The frames in the order in which they would be given up.
  std::string order() {
    std::string out;
    std::vector<bool> gone(static_cast<std::size_t>(track.source.frames));
    while (s.cache.evict_oldest()) {
      for (int i = 0; i < track.source.frames; ++i) {
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
    loop.s.composition.doc.tm_t = r.current;
    loop.s.playback.keep_alive_sweep();
    EXPECT_EQ(loop.order(), r.order) << r.what;
  }
  // Work area of 12: a third, a sixth and a twelfth ahead of the new frame. The one that was left behind goes before
  // them.
  const row touches[] = {
      {"inside", 0, 12, 2, "0 1 3 6 8 9 10 11 2 7 5 4 "},
      {"around the end", 0, 12, 8, "0 2 3 4 5 6 7 9 8 1 11 10 "},
  };
  for (const row& r : touches) {
    cached_loop loop(r.first, r.end);
    loop.s.composition.doc.tm_t = r.current;
    loop.s.tick(0.04);
    EXPECT_EQ(loop.order(), r.order) << r.what;
  }
  // Where a ping-pong turns forward, what lies ahead is touched as at its start.
  {
    cached_loop loop(0, 8);
    loop.s.composition.doc.repeat = ping_pong;
    loop.s.composition.doc.forward = false;
    loop.s.composition.doc.tm_t = 0.4;
    loop.s.tick(0.04);
    ASSERT_TRUE(loop.s.composition.doc.forward);
    EXPECT_EQ(loop.order(), "6 7 5 4 3 2 1 0 ");
  }
  // Frames that are not cached, or not there, are not touched.
  for (const int which : {0, 1, 2}) {
    cached_loop loop(0, 8);
    if (which == 0) loop.track.look.visible = false;
    if (which == 1) loop.track.source.disable_cache = true;
    if (which == 2) loop.track.timing.begin = 100;
    loop.s.playback.keep_alive_sweep();
    loop.track.timing.begin = 0;
    EXPECT_EQ(loop.order(), "0 1 2 3 4 5 6 7 ") << which;
  }
}

TEST(clock, actions_of_the_transport) {
  stage s(2500, 10, 20, none);
  command::engine engine(s.composition);
  playback::register_playback_actions(engine, s.playback);
  auto& c = s.composition;
  c.doc.playing = false;
  c.doc.tracks.push_back(sounding_layer(10));
  c.doc.tracks.push_back(sounding_layer(10));
  c.doc.tracks[1].source.type = ksn::source_type::brush_sequence;
  struct row {
    const char* action;
    ksn::repeat_type repeat;
    double from;
    const char* state;
    double time;
  };
  const row rows[] = {
      {"play_forward", none, 20, "forward swept", 10},  // from the end it starts over
      {"play_forward", none, 12, "stopped", 12},
      {"play_backward", none, 10, "backward", 20},
      {"play_backward", none, 12, "stopped", 12},
      {"play_forward", loop, 20, "forward", 20},  // a loop does not move first; the end has nothing to sweep from
      {"play_backward", loop, 10, "backward", 10},
      {"play_forward", loop, 12, "forward swept", 12},
      {"toggle_pause", loop, 12, "stopped", 12},
      {"toggle_pause", loop, 12, "forward swept", 12},
      {"reverse_playback_direction", loop, 12, "backward", 12},
      {"toggle_pause", loop, 12, "stopped", 12},
      {"toggle_pause", loop, 12, "backward", 12},
      {"reverse_playback_direction", loop, 12, "forward", 12},
  };
  for (const row& r : rows) {
    for (ksn::track_info& track : c.doc.tracks) track.source.frame_states.assign(4, 2);
    c.doc.repeat = r.repeat;
    c.doc.tm_t = r.from;
    EXPECT_TRUE(engine.action_enabled(r.action));
    engine.execute_action(r.action);
    std::string state = !c.doc.playing ? "stopped" : c.doc.forward ? "forward" : "backward";
    if (c.doc.tracks[0].source.frame_states.empty()) state += " swept";
    EXPECT_EQ(state, r.state) << r.action;
    EXPECT_EQ(c.doc.tm_t, r.time) << r.action;
    EXPECT_EQ(c.doc.tracks[1].source.frame_states.size(), 4u) << "painted frames are known without the cache";
  }
}

}  // namespace
