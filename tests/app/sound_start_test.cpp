// The sound device opens with the first layer that sounds.
#include "app/sound_start.h"

#include <gtest/gtest.h>

#include "sources/wave.h"

namespace {

struct counted_device : platform::audio_device {
  int opened = 0;
  bool works = true;
  bool running = false;

  bool open() override {
    ++opened;
    return running = works;
  }
  bool is_open() const override { return running; }
  bool get_cursors(int&, int&) override { return false; }
  void write(int, const void*, int) override {}
};

struct stage {
  ksn::state composition;
  cache::frame_cache frames;
  playback::clock clock{composition, frames};
  app::sound_start sound{composition, clock};
  counted_device device;

  void add(bool audible) {
    ksn::track_info track;
    track.source.type = ksn::source_type::image;
    if (audible) track.source.audio = std::make_shared<sources::wave_context>();
    composition.doc.tracks.push_front(std::move(track));
  }
};

TEST(sound_start, opens_with_the_first_layer_that_sounds) {
  stage s;
  s.add(true);
  s.sound.poll();
  EXPECT_EQ(s.device.opened, 0) << "no window, no device";
  s.composition.doc.tracks.clear();
  s.sound.use(&s.device);
  s.add(false);
  s.sound.poll();
  EXPECT_EQ(s.device.opened, 0);
  EXPECT_EQ(s.clock.audio, nullptr);
  s.add(true);
  s.sound.poll();
  s.sound.poll();
  EXPECT_EQ(s.device.opened, 1);
  EXPECT_EQ(s.clock.audio, &s.device);
  s.composition.doc.tracks.clear();
  s.sound.poll();
  EXPECT_EQ(s.clock.audio, &s.device) << "it stays open until the end";
  s.sound.use(nullptr);
  EXPECT_EQ(s.clock.audio, nullptr);
}

TEST(sound_start, a_device_that_fails_is_tried_again_with_the_next_layer) {
  stage s;
  s.device.works = false;
  s.sound.use(&s.device);
  s.add(true);
  for (int i = 0; i < 3; ++i) s.sound.poll();
  EXPECT_EQ(s.device.opened, 1) << "not in every tick";
  EXPECT_EQ(s.clock.audio, nullptr) << "the timer drives";
  s.device.works = true;
  s.sound.retry();
  s.sound.poll();
  EXPECT_EQ(s.clock.audio, &s.device);
}

}  // namespace
