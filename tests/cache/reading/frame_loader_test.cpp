#include "cache/reading/frame_loader.h"

#include <gtest/gtest.h>

#include "cache/reading/frame_board.h"
#include "cache/track_frame.h"
#include "io/exceptions.h"
#include "support/fake_clip.h"
#include "support/gate.h"

namespace {

using cache::frame_presence;
using support::wait_until;
using enum ksn::repeat_type;

// One reader, so that the order of reading is the order of wanting. Layers of made-up clips, work area 0 to 20.
class loader_test : public testing::Test {
 protected:
  loader_test() {
    frames.memory_load = [this] { return load.load(); };
    composition.doc.tm_n = 100;
    composition.doc.tm_f = 0;
    composition.doc.tm_l = 20;
    composition.doc.repeat = loop;
    composition.doc.fpcs = 400;
  }
  ~loader_test() override { gate.open(); }

  ksn::track_info& add(int count, bool gated = false) {
    const int number = static_cast<int>(composition.doc.tracks.size());
    auto clip = std::make_shared<support::fake_clip>(count, [this, number, gated](int frame, int, img::image& image) {
      {
        const std::lock_guard guard(lock);
        order += (number == 0 ? "" : std::string(1, static_cast<char>('a' + number))) + std::to_string(frame) + " ";
      }
      if (gated) gate.pass();
      if (frame == broken) throw io::read_error("/clip", "Broken");
      image = support::picture("L", 64, 64, {frame % 256});
      return true;
    });
    composition.doc.tracks.push_back(
        support::clip_layer(std::move(clip), 64, 64, "/clips/" + std::to_string(number) + ".avi"));
    return composition.doc.tracks.back();
  }
  std::string order_now() {
    const std::lock_guard guard(lock);
    return order;
  }
  void tick(double time) {
    composition.doc.tm_t = time;
    loader.tick(composition, time);
  }
  // Turns until nothing is read any more, and gives what was read since the last call.
  std::string read(double time) {
    do {
      tick(time);
      EXPECT_TRUE(wait_until([&] {
        const auto count = reading.count();
        return count.reading == 0 && count.waiting == 0;
      }));
      tick(time);
    } while (reading.count().waiting + reading.count().reading != 0);
    const std::lock_guard guard(lock);
    return std::exchange(order, {});
  }
  // The display takes the frame at the head.
  void show(double time) {
    for (const ksn::track_info& track : composition.doc.tracks) {
      const int frame = static_cast<int>(track.source_position(time));
      if (frame < 0) continue;
      reading.fetch(*cache::request_of(track, frame, composition.view.resolution));
      frames.pass(cache::key_of_frame(track, frame - 1, composition.view.resolution));
    }
  }
  int clip_reads() const { return static_cast<support::fake_clip&>(*composition.doc.tracks[0].source.clip).reads; }

  std::atomic<int> load{0};
  std::atomic<int> broken{-1};
  support::gate gate;
  std::mutex lock;
  std::string order;
  ksn::state composition;
  cache::frame_cache frames;
  cache::frame_scheduler reading{frames, {1, 1, {}}};
  cache::frame_loader loader{reading};
  cache::frame_board board{reading};
};

TEST_F(loader_test, the_order_of_each_mode) {
  composition.doc.tm_l = 8;
  const struct {
    const char* what;
    bool playing, forward;
    ksn::repeat_type repeat;
    double head;
    const char* frames;
  } rows[] = {
      {"around the loop", true, true, loop, 5, "6 7 0 1 5 2 3 4 "},
      {"backward", true, false, loop, 2, "1 0 7 6 2 5 4 3 "},
      {"there and back", true, true, ping_pong, 5, "6 7 5 4 3 2 1 0 "},
      {"back and there", true, false, ping_pong, 2, "1 0 2 3 4 5 6 7 "},
      {"once", true, true, none, 5, "6 7 5 "},
      {"at rest, from the head outward", false, true, loop, 5, "6 4 5 7 3 2 1 0 "},
  };
  for (const auto& row : rows) {
    composition.doc.tracks.clear();
    frames.clear();
    add(30);
    composition.doc.playing = row.playing;
    composition.doc.forward = row.forward;
    composition.doc.repeat = row.repeat;
    EXPECT_EQ(read(row.head), row.frames) << row.what;
    EXPECT_EQ(read(row.head), "") << row.what;
  }
}

TEST_F(loader_test, layers_come_frame_by_frame_of_the_timeline) {
  composition.doc.tm_l = 4;
  add(30);
  add(30).timing.begin = -10;
  add(30).look.visible = false;
  add(30).timing.begin = 2;
  EXPECT_EQ(read(0), "1 b11 2 b12 d0 0 b10 3 b13 d1 ");
  // A layer that only lends its alpha is needed too.
  composition.doc.tracks[2].timing.begin = -20;
  loader.taking_part = [](const ksn::state& c) { return std::vector<bool>(c.doc.tracks.size(), true); };
  EXPECT_EQ(read(0), "c21 c22 c20 c23 ");
  composition.doc.tracks[1].source.disable_cache = true;
  composition.view.resolution = ksn::cache_resolution_type::half;
  EXPECT_EQ(read(3).find('b'), std::string::npos);
}

TEST_F(loader_test, scrubbing_turns_to_the_side_of_the_movement) {
  loader.fill_at_rest = false;
  add(30);
  EXPECT_EQ(read(10), "11 9 ");
  EXPECT_EQ(read(11), "12 10 ");
  EXPECT_EQ(read(5), "4 6 ");
}

// A jump drops what nobody wants: the frame at hand ends, and the next that begins is at the new place.
TEST_F(loader_test, a_jump) {
  composition.doc.tm_l = 90;
  composition.doc.playing = true;
  add(90, true);
  tick(0);
  ASSERT_TRUE(wait_until([&] { return gate.waiting() == 1; }));
  tick(60);
  gate.permit(2);
  ASSERT_TRUE(wait_until([&] { return gate.waiting() == 1 && clip_reads() == 3; }));
  EXPECT_EQ(order_now(), "1 61 62 ");
  // A step of the play is no jump: the frames further ahead stay wanted.
  tick(61);
  gate.permit(1);
  ASSERT_TRUE(wait_until([&] { return clip_reads() == 4; }));
  EXPECT_EQ(order_now(), "1 61 62 63 ");
}

TEST_F(loader_test, what_the_user_asks_for) {
  composition.doc.tm_l = 10;
  loader.fill_at_rest = false;
  ksn::track_info& one = add(30);
  add(30).timing.begin = -20;
  loader.preload(composition.doc.tracks[1], 6, 9);
  EXPECT_EQ(read(0), "1 b21 2 b22 b26 b27 b28 ") << "near the head first";
  loader.preload(one, 4, 8);
  EXPECT_EQ(read(6), "7 5 b25 6 4 ") << "from the head on, and around";
  // A still, a layer without frames and one without cache have nothing to load.
  ksn::track_info still = one;
  still.source.type = ksn::source_type::image;
  ksn::track_info text = one;
  text.source.type = ksn::source_type::text;
  one.source.disable_cache = true;
  for (const ksn::track_info& layer : {still, text, one}) loader.preload(layer, 0, 30);
  EXPECT_EQ(read(6), "");
  // Cancelled with its layer, and all at once.
  one.source.disable_cache = false;
  read(0);
  loader.preload(composition.doc.tracks[0], 0, 30);
  loader.cancel_layer(one.id);
  EXPECT_EQ(read(0), "");
  loader.preload(composition.doc.tracks[0], 0, 30);
  loader.stop();
  EXPECT_EQ(read(0), "");
}

TEST_F(loader_test, a_long_wish_is_passed_on_in_parts) {
  loader.fill_at_rest = false;
  loader.preload(add(2000, true), 0, 2000);
  for (int i = 0; i < 20; ++i) tick(0);
  EXPECT_LE(reading.waiting_of(cache::frame_owner::preload), 100);
  EXPECT_GT(reading.waiting_of(cache::frame_owner::preload), 10);
  loader.stop();
}

TEST_F(loader_test, a_wish_waits_for_a_play_that_needs_the_machine) {
  loader.fill_at_rest = false;
  composition.doc.playing = true;
  loader.play_is_heavy = true;
  loader.preload(add(2000, true), 0, 2000);
  for (int i = 0; i < 20; ++i) tick(0);
  EXPECT_EQ(reading.waiting_of(cache::frame_owner::preload), 0);
  composition.doc.playing = false;
  for (int i = 0; i < 20; ++i) tick(0);
  EXPECT_GT(reading.waiting_of(cache::frame_owner::preload), 10) << "it has stopped";
  loader.stop();
}

TEST_F(loader_test, stopped_until_something_changes) {
  add(30);
  loader.tick(composition, 0);
  loader.stop();
  read(0);
  EXPECT_EQ(read(0), "");
  EXPECT_NE(read(10), "");
}

TEST_F(loader_test, full_memory_ends_loading_ahead) {
  add(100);
  composition.doc.tm_l = 100;
  loader.fill_at_rest = false;
  loader.preload(composition.doc.tracks[0], 0, 100);
  load = 90;
  EXPECT_EQ(read(50), "51 ") << "only near the head";
  load = 0;
  EXPECT_EQ(read(50), "") << "nothing begins again by itself";
  // A limit in bytes holds as well, for the reads that are under way too.
  frames.clear();
  frames.memory_limit = 10 * cache::bytes_of(support::picture("L", 64, 64, {0}));
  loader.preload(composition.doc.tracks[0], 0, 100);
  read(0);
  EXPECT_EQ(frames.queue_size(), 10u);
  EXPECT_LE(frames.bytes(), frames.memory_limit);
  EXPECT_NE(frames.find(cache::key_of_frame(composition.doc.tracks[0], 1, {})), nullptr) << "the first stay";
  loader.fill_at_rest = true;
  read(40);
  EXPECT_EQ(frames.queue_size(), 10u);
}

// Memory for three quarters of a loop: the second time round finds about three quarters, and reads the rest in time.
TEST_F(loader_test, a_loop_that_does_not_fit_keeps_a_steady_part) {
  composition.doc.tm_l = 80;
  composition.doc.playing = true;
  add(80);
  frames.memory_limit = 60 * cache::bytes_of(support::picture("L", 64, 64, {0}));
  frames.begin_play(cache::play_return::around);
  int missed = 0;
  for (int i = 0; i < 4 * 80; ++i) {
    read(i % 80);
    missed += i > 1 && !frames.find(cache::key_of_frame(composition.doc.tracks[0], i % 80, {}));
    show(i % 80);
    if (i == 80 || i == 160 || i == 240) {
      EXPECT_LE(clip_reads(), i == 80 ? 85 : 85 + (i - 80) / 80 * 26) << i;
    }
  }
  EXPECT_EQ(missed, 0) << "read ahead of the head";
  EXPECT_LE(frames.bytes(), frames.memory_limit);
}

// A play that may drop frames, and a source that can't keep up: nothing is read that would not be shown.
TEST_F(loader_test, nothing_is_read_ahead_of_a_play_that_drops_frames) {
  composition.doc.tm_l = 90;
  composition.doc.playing = true;
  composition.doc.can_drop_frames = true;
  add(90, true);
  loader.preload(composition.doc.tracks[0], 0, 90);
  for (int i = 0; i < 14; ++i) tick(i);
  EXPECT_NE(reading.waiting_of(cache::frame_owner::preload), 0);
  EXPECT_NE(reading.waiting_of(cache::frame_owner::playback), 0) << "it leaves none out";
  for (const int i : {16, 18, 20, 22}) tick(i);
  EXPECT_EQ(reading.count().waiting, 0) << "the user's own preload waits as well";
  for (int i = 23; i < 32; ++i) tick(i);
  EXPECT_NE(reading.waiting_of(cache::frame_owner::preload), 0);
  EXPECT_NE(reading.waiting_of(cache::frame_owner::playback), 0) << "it keeps up again";
  composition.doc.can_drop_frames = false;
  for (const int i : {34, 36, 38, 40, 42}) tick(i);
  EXPECT_NE(reading.waiting_of(cache::frame_owner::playback), 0) << "who shows every frame reads on";
}

TEST_F(loader_test, the_end_of_a_gesture_makes_room) {
  composition.doc.tm_f = 5;
  composition.doc.tm_l = 30;
  composition.doc.tm_t = 12.9;
  loader.fill_at_rest = false;
  add(40);
  add(40).look.visible = false;
  for (int i = 0; i < 2000; ++i) frames.touch(std::make_shared<img::image>("L", 8, 1, 1));
  load = 61;  // above 100 - 40 and not above 105 - 40: one image in each of 32 * 32 rounds
  bool kept_alive = false;
  loader.preload_after_gesture(composition, [&] { kept_alive = frames.queue_size() == 2000u; });
  EXPECT_TRUE(kept_alive);
  EXPECT_EQ(frames.queue_size(), 2000u - 1024u);
  EXPECT_EQ(read(12.9), "13 11 12 14 15 16 17 18 19 20 21 22 23 24 25 26 27 28 29 ");
}

TEST_F(loader_test, the_board_knows_every_frame) {
  composition.doc.tm_l = 10;
  loader.fill_at_rest = false;
  ksn::track_info& layer = add(12, true);
  broken = 3;
  // Beside the table, what somebody knows who only listens to the changes.
  std::vector<frame_presence> heard(12, frame_presence::missing);
  std::uint64_t heard_to = 0;
  const auto known = [&] {
    board.update(composition);
    const auto states = board.of(layer);
    const auto changes = board.changes_since(heard_to);
    for (const cache::frame_board::change& change : changes.value()) {
      EXPECT_EQ(change.source, board.source_of(layer));
      heard[static_cast<std::size_t>(change.frame)] = states[static_cast<std::size_t>(change.frame)];
    }
    heard_to = board.revision();
    EXPECT_TRUE(std::equal(states.begin(), states.end(), heard.begin(), heard.end()));
    std::string text;
    for (const frame_presence state : states) text += "-wrkf"[static_cast<int>(state)];
    return text;
  };
  EXPECT_EQ(known(), "------------");
  tick(2);
  ASSERT_TRUE(wait_until([&] { return gate.waiting() == 1; }));
  EXPECT_EQ(known(), "-w-r--------");
  gate.permit(1);
  ASSERT_TRUE(wait_until([&] { return gate.waiting() == 1 && clip_reads() == 2; }));
  EXPECT_EQ(known(), "-r-f--------");
  gate.open();
  read(2);
  EXPECT_EQ(known(), "-k-f--------");
  const std::uint64_t revision = board.revision();
  EXPECT_EQ(known(), "-k-f--------");
  EXPECT_EQ(board.revision(), revision) << "nothing happened";
  EXPECT_EQ(board.of(layer, 1, 3).size(), 3u);
  EXPECT_EQ(board.of(layer, 1, 3)[2], frame_presence::failed);
  EXPECT_EQ(board.of(layer, 10, 5).size(), 2u);
  const img::const_image_ptr held = frames.find(cache::key_of_frame(layer, 1, composition.view.resolution));
  EXPECT_TRUE(held);
  frames.evict_oldest();
  EXPECT_EQ(known(), "---f--------") << "gone, although somebody still holds it";
  // A layer of the same clip shows the same frames.
  composition.doc.tracks.push_back(layer);
  composition.doc.tracks.back().id = ksn::next_layer_id();
  composition.touch();
  board.update(composition);
  EXPECT_EQ(board.source_of(composition.doc.tracks[0]), board.source_of(composition.doc.tracks[1]));
  EXPECT_EQ(board.of(composition.doc.tracks[1])[3], frame_presence::failed);
  composition.view.resolution = ksn::cache_resolution_type::half;
  heard.assign(12, frame_presence::missing);
  EXPECT_EQ(known(), "------------");
  frames.clear();
  read(2);
  EXPECT_NE(known(), "------------");
  EXPECT_EQ(board.changes_since(board.revision() + 1), std::nullopt);
}

}  // namespace
