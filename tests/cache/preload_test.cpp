#include "cache/preload.h"

#include <gtest/gtest.h>

#include <new>

#include "cache/track_frame.h"
#include "io/exceptions.h"
#include "support/fake_clip.h"
#include "support/gate.h"

namespace {

using support::wait_until;

// A clip that notes who read what, and may be held back at each frame.
class watched_clip : public support::fake_clip {
 public:
  explicit watched_clip(int frames, support::gate* gate = nullptr)
      : fake_clip(frames, [this, gate](int frame, int, img::image& image) {
          {
            const std::lock_guard guard(lock_);
            frames_.push_back(frame);
            threads_.insert(std::this_thread::get_id());
          }
          if (gate) gate->pass();
          image = support::picture("BGR", 8, 8, {frame});
          return true;
        }) {}

  std::vector<int> frames_read() {
    const std::lock_guard guard(lock_);
    return frames_;
  }
  std::size_t reading_threads() {
    const std::lock_guard guard(lock_);
    return threads_.size();
  }

 private:
  std::mutex lock_;
  std::vector<int> frames_;
  std::set<std::thread::id> threads_;
};

class preload_test : public testing::Test {
 protected:
  preload_test() {
    frames.memory_load = [this] { return load.load(); };
  }
  // A test that failed half way must not leave the workers waiting.
  ~preload_test() override { gate.open(); }

  struct source {
    std::shared_ptr<watched_clip> clip;
    ksn::track_info layer;
  };

  ksn::track_info layer_of(std::shared_ptr<support::fake_clip> clip) {
    return support::clip_layer(std::move(clip), 8, 8, "/clips/" + std::to_string(++clips) + ".avi");
  }
  source make(int frames, support::gate* gate = nullptr) {
    const auto clip = std::make_shared<watched_clip>(frames, gate);
    return {clip, layer_of(clip)};
  }
  // With all its frames queued, each of which waits at the gate.
  source start(int frames) {
    source made = make(frames, &gate);
    preload.preload_range(made.layer, 0, frames);
    return made;
  }
  bool at_gate(int count) {
    return wait_until([&] { return gate.waiting() == count; });
  }
  bool is_cached(const ksn::track_info& layer, int frame,
                 ksn::cache_resolution_type resolution = ksn::cache_resolution_type::full) {
    return frames.find(cache::key_of_frame(layer, frame, resolution)) != nullptr;
  }
  bool finish() {
    return wait_until([&] { return preload.pending_tasks() == 0; });
  }

  int clips = 0;
  std::atomic<int> load{0};
  support::gate gate;
  cache::frame_cache frames;
  cache::preloader preload{frames};
};

std::vector<int> numbers(int first, int last) {
  std::vector<int> all;
  for (int i = first; i < last; ++i) all.push_back(i);
  return all;
}

TEST_F(preload_test, a_task_is_read_in_order_by_one_worker_into_the_cache) {
  const auto [clip, layer] = make(20);
  preload.preload_range(layer, 3, 17);
  ASSERT_TRUE(finish());
  EXPECT_EQ(clip->frames_read(), numbers(3, 17));
  EXPECT_EQ(clip->reading_threads(), 1u);
  EXPECT_EQ(frames.queue_size(), 14u);
  EXPECT_EQ(preload.started_workers(), 4);
  // The same again finds all in the cache.
  preload.preload_range(layer, 0, 20);
  ASSERT_TRUE(finish());
  EXPECT_EQ(clip->reads, 20);
}

TEST_F(preload_test, timeline_ranges_become_source_ranges) {
  const struct {
    const char* name;
    int begin;
    double retime, in, out;
    int from, to;
    int first, last;
  } cases[] = {
      {"all", 0, 1.0, 0.0, 1.0, 0, 250, 0, 10},
      {"a part", 0, 1.0, 0.0, 1.0, 4, 7, 4, 7},
      {"moved right", 100, 1.0, 0.0, 1.0, 95, 103, 0, 3},
      {"moved left", -4, 1.0, 0.0, 1.0, 0, 250, 4, 10},
      {"trimmed", 0, 1.0, 0.2, 0.7, 0, 250, 2, 7},
      {"repeated: one pass", 0, 1.0, 0.0, 3.0, 0, 250, 0, 10},
      {"slowed: 5 / 2 and 9 / 2 to the even one", 0, 2.0, 0.0, 1.0, 5, 9, 2, 4},
      {"sped up", 0, 0.5, 0.0, 1.0, 1, 3, 2, 6},
      {"a length of one timeline frame", 0, 0.04, 0.0, 1.0, 0, 250, 0, 10},
      {"a retime that no setter stores", 0, 1e-300, 0.0, 1.0, 0, 250, 0, 10},
      {"before the layer", 100, 1.0, 0.0, 1.0, 0, 100, 0, 0},
      {"behind the layer", 0, 1.0, 0.0, 1.0, 10, 20, 0, 0},
      {"empty", 0, 1.0, 0.0, 1.0, 5, 5, 0, 0},
  };
  for (const auto& c : cases) {
    auto [clip, layer] = make(10);
    layer.timing.begin = c.begin;
    layer.timing.retime = c.retime;
    layer.timing.sbegin_f = c.in;
    layer.timing.send_f = c.out;
    preload.preload_layer_over(layer, c.from, c.to);
    ASSERT_TRUE(finish()) << c.name;
    EXPECT_EQ(clip->frames_read(), numbers(c.first, c.last)) << c.name;
  }
}

TEST_F(preload_test, what_has_nothing_to_load_starts_no_thread) {
  auto [clip, uncached] = make(10);
  preload.preload_range(uncached, 5, 5);
  preload.preload_range(uncached, 5, 4);
  uncached.source.disable_cache = true;
  ksn::track_info still;
  still.source.type = ksn::source_type::image;
  still.source.frames = 1;
  still.source.path = "/still.tga";
  ksn::track_info text = still;
  text.source.type = ksn::source_type::text;
  for (const ksn::track_info& layer : {uncached, still, text}) preload.preload_layer_over(layer, 0, 100);
  preload.stop();
  preload.cancel_layer(uncached.id);
  EXPECT_EQ(preload.pending_tasks(), 0);
  EXPECT_EQ(preload.started_workers(), 0);
  EXPECT_EQ(clip->reads, 0);
}

TEST_F(preload_test, four_layers_at_once_and_the_fifth_after_them) {
  std::vector<std::shared_ptr<watched_clip>> clips;
  for (int i = 0; i < 5; ++i) clips.push_back(start(2).clip);
  ASSERT_TRUE(at_gate(4));
  EXPECT_EQ(preload.pending_tasks(), 5);
  EXPECT_EQ(clips[4]->reads, 0);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(clips[i]->frames_read(), numbers(0, 1));
  // Frame 1 of all four before the fifth has its turn.
  gate.permit(4);
  ASSERT_TRUE(wait_until([&] {
    return gate.waiting() == 4 && clips[0]->reads + clips[1]->reads + clips[2]->reads + clips[3]->reads == 8;
  }));
  EXPECT_EQ(clips[4]->reads, 0);
  gate.open();
  ASSERT_TRUE(finish());
  EXPECT_EQ(clips[4]->frames_read(), numbers(0, 2));
}

TEST_F(preload_test, a_full_memory_stops_all) {
  load = 89;
  const source first = start(100), second = start(100);
  ASSERT_TRUE(at_gate(2));
  load = 90;
  gate.permit(1);
  ASSERT_TRUE(finish());
  gate.open();
  ASSERT_TRUE(preload.shutdown());
  EXPECT_EQ(first.clip->reads + second.clip->reads, 2);
  EXPECT_EQ(frames.queue_size(), 2u);  // the frames at hand were finished
}

TEST_F(preload_test, a_cancelled_task_finishes_its_frame) {
  const source dropped = start(50), kept = start(3);
  ASSERT_TRUE(at_gate(2));
  preload.preload_range(dropped.layer, 40, 50);
  ASSERT_TRUE(at_gate(3));
  preload.cancel_layer(dropped.layer.id);
  EXPECT_EQ(preload.pending_tasks(), 1);
  gate.open();
  ASSERT_TRUE(finish());
  ASSERT_TRUE(preload.shutdown());
  EXPECT_EQ(kept.clip->frames_read(), numbers(0, 3));
  EXPECT_EQ(dropped.clip->reads, 2);
  EXPECT_TRUE(is_cached(dropped.layer, 0));
  EXPECT_TRUE(is_cached(dropped.layer, 40));
}

TEST_F(preload_test, clearing_the_cache_under_a_running_task) {
  const source slow = start(100);
  gate.permit(3);
  ASSERT_TRUE(wait_until([&] { return gate.waiting() == 1 && slow.clip->reads == 4; }));
  preload.stop();
  frames.clear();
  EXPECT_EQ(preload.pending_tasks(), 0);
  EXPECT_EQ(frames.queue_size(), 0u);
  gate.open();
  ASSERT_TRUE(wait_until([&] { return is_cached(slow.layer, 3); }));
  EXPECT_EQ(cache::fetch_frame(frames, slow.layer, 3, cache::key_of_frame(slow.layer, 3, {}), false)->row(0, 7)[7], 3);
  EXPECT_FALSE(is_cached(slow.layer, 0));
  EXPECT_EQ(slow.clip->reads, 4);
}

TEST_F(preload_test, failures_are_passed_over) {
  auto clip = std::make_shared<support::fake_clip>(8, [](int frame, int, img::image& image) {
    if (frame == 1) throw io::read_error("/clips/1.avi", "Broken");
    if (frame == 3) throw std::bad_alloc();
    if (frame == 5) return false;
    if (frame == 6) throw 6;
    image = support::picture("BGR", 8, 8, {frame});
    return true;
  });
  const ksn::track_info layer = layer_of(clip);
  preload.preload_range(layer, -2, 10);
  ksn::track_info gone;
  gone.source.type = ksn::source_type::sequence;
  gone.source.path = "/no/such/folder/";
  gone.source.names = {"a.tga", "b.unknown", "noextension"};
  gone.source.frames = 3;
  preload.preload_range(gone, 0, 3);
  ASSERT_TRUE(finish());
  EXPECT_EQ(clip->reads, 8);
  for (int i = 0; i < 8; ++i) EXPECT_EQ(is_cached(layer, i), i == 0 || i == 2 || i == 4 || i == 7) << i;
}

TEST_F(preload_test, a_new_resolution_holds_from_the_next_frame) {
  const source slow = start(4);
  ASSERT_TRUE(at_gate(1));
  preload.set_resolution(ksn::cache_resolution_type::half);
  gate.open();
  ASSERT_TRUE(finish());
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(is_cached(slow.layer, i), i == 0) << i;
    EXPECT_EQ(is_cached(slow.layer, i, ksn::cache_resolution_type::half), i > 0) << i;
  }
}

TEST_F(preload_test, the_end_of_a_gesture_makes_room_and_starts_at_the_play_head) {
  const source layers[] = {make(40), make(40), make(40)};
  ksn::state composition;
  for (const source& made : layers) composition.doc.tracks.push_back(made.layer);
  composition.doc.tracks[1].look.visible = false;
  composition.doc.tracks[2].timing.begin = 10;
  composition.doc.tm_f = 5;
  composition.doc.tm_l = 30;
  composition.doc.tm_t = 12.9;
  for (int i = 0; i < 2000; ++i) frames.touch(std::make_shared<img::image>("L", 8, 1, 1));
  load = 61;  // above 100 - 40 and not above 105 - 40: one image in each of 32 * 32 rounds
  bool kept_alive = false;
  preload.preload_after_gesture(composition, [&] {
    kept_alive = true;
    EXPECT_EQ(frames.queue_size(), 2000u);
  });
  ASSERT_TRUE(finish());
  EXPECT_TRUE(kept_alive);
  EXPECT_EQ(frames.queue_size(), 2000u - 1024u + 18u + 18u);
  EXPECT_EQ(layers[0].clip->frames_read(), numbers(12, 30));
  EXPECT_EQ(layers[1].clip->reads, 0);
  EXPECT_EQ(layers[2].clip->frames_read(), numbers(2, 20));
  // A play head before the work area does not extend it.
  load = 0;
  composition.doc.tm_t = 0.0;
  composition.doc.tracks.resize(1);
  preload.preload_after_gesture(composition, {});
  ASSERT_TRUE(finish());
  EXPECT_EQ(layers[0].clip->reads, 18 + 7);
}

TEST_F(preload_test, shutdown) {
  const auto [clip, layer] = start(100);
  ASSERT_TRUE(at_gate(1));
  // One worker does not come back from its read in time; the process would end without it.
  using ms = std::chrono::milliseconds;
  EXPECT_FALSE(preload.shutdown(ms(1), ms(1)));
  preload.preload_range(layer, 0, 100);
  EXPECT_EQ(preload.pending_tasks(), 0);
  gate.open();
  EXPECT_TRUE(preload.shutdown());
  EXPECT_EQ(clip->reads, 1);
  cache::preloader idle(frames);
  EXPECT_TRUE(idle.shutdown(ms(0), ms(0)));
}

// For the thread sanitizer: a slow source is read by the workers and the main thread at once, while layers come and go.
TEST_F(preload_test, workers_and_main_thread_on_the_same_frames) {
  constexpr int length = 60;
  std::vector<ksn::track_info> layers;
  for (int i = 0; i < 6; ++i) {
    auto clip = std::make_shared<support::fake_clip>(length, [](int frame, int, img::image& image) {
      std::this_thread::sleep_for(std::chrono::microseconds(200));
      image = support::picture("BGR", 8, 8, {frame});
      return true;
    });
    layers.push_back(layer_of(clip));
    preload.preload_range(layers.back(), 0, length);
  }
  for (int frame = 0; frame < length; ++frame) {
    for (ksn::track_info& layer : layers) {
      const auto resolution = frame % 7 == 0 ? ksn::cache_resolution_type::half : ksn::cache_resolution_type::full;
      const auto image = cache::fetch_frame(frames, layer, frame, cache::key_of_frame(layer, frame, resolution), false);
      ASSERT_TRUE(image);
      ASSERT_EQ(image->row(0, 0)[0], frame);
      layer.look.opacity = frame;  // the worker has a copy
    }
    if (frame == 20) preload.cancel_layer(layers[2].id);
    if (frame == 25) preload.set_resolution(ksn::cache_resolution_type::half);
    if (frame == 30) preload.stop(), frames.clear();
    if (frame == 31) preload.preload_range(layers[0], 0, length);
    if (frame % 10 == 0) load = frame == 40 ? 95 : 0;
    std::set<std::string> changes;
    frames.take_changes(changes);
  }
  layers.clear();
  ASSERT_TRUE(finish());
}

}  // namespace
