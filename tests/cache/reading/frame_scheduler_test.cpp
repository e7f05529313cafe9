#include "cache/reading/frame_scheduler.h"

#include <gtest/gtest.h>

#include <fstream>
#include <set>

#include "io/exceptions.h"
#include "support/fake_clip.h"
#include "support/gate.h"
#include "support/temp_folder.h"

namespace {

using cache::frame_owner;
using cache::frame_request;
using std::chrono::milliseconds;
using support::wait_until;

// A source whose frames note their order and wait at a gate, if it has one.
struct made_up_source {
  std::shared_ptr<support::fake_clip> clip;
  std::mutex lock;
  std::vector<int> order;

  explicit made_up_source(support::gate* gate = nullptr) {
    clip = std::make_shared<support::fake_clip>(1000, [this, gate](int frame, int, img::image& image) {
      {
        const std::lock_guard guard(lock);
        order.push_back(frame);
      }
      if (gate) gate->pass();
      image = support::picture("L", 8, 8, {frame % 256});
      return true;
    });
  }
  std::vector<int> read() {
    const std::lock_guard guard(lock);
    return order;
  }
};

class scheduler_test : public testing::Test {
 protected:
  scheduler_test() {
    frames.memory_load = [] { return 0; };
    start(4);
  }
  ~scheduler_test() override { gate.open(); }

  void start(int readers, int processors = 16) {
    reading.reset();
    reading = std::make_unique<cache::frame_scheduler>(
        frames, cache::scheduler_options{readers, processors, [this] { return now.load(); }});
  }
  static frame_request request(const made_up_source& source, int frame, const std::string& name = "/a.avi",
                               int layer = 1) {
    frame_request made;
    made.key.path = name + "\\A," + std::to_string(frame);
    made.clip = source.clip;
    made.source_frame = frame;
    made.layer_id = layer;
    return made;
  }
  std::vector<frame_request> requests(const made_up_source& source, std::vector<int> numbers,
                                      const std::string& name = "/a.avi", int layer = 1) {
    std::vector<frame_request> list;
    for (const int i : numbers) list.push_back(request(source, i, name, layer));
    return list;
  }
  bool at_gate(int count) {
    return wait_until([&] { return gate.waiting() == count; });
  }
  bool is_idle() {
    return wait_until([&] {
      const auto count = reading->count();
      return count.reading == 0 && count.waiting == 0;
    });
  }

  std::atomic<std::uint32_t> now{4'294'967'000u};
  support::gate gate;
  cache::frame_cache frames;
  std::unique_ptr<cache::frame_scheduler> reading;
};

TEST_F(scheduler_test, the_most_urgent_first_and_no_frame_twice) {
  start(1);
  made_up_source source(&gate);
  reading->want(frame_owner::rest, requests(source, {50, 51, 2}));
  ASSERT_TRUE(at_gate(1));
  reading->want(frame_owner::preload, requests(source, {40, 1, 41}));
  reading->want(frame_owner::playback, requests(source, {1, 2, 3, 50}));
  EXPECT_EQ(reading->count().waiting, 9);
  gate.open();
  ASSERT_TRUE(is_idle());
  EXPECT_EQ(source.read(), (std::vector{50, 1, 2, 3, 40, 41, 51}));
  reading->want(frame_owner::playback, requests(source, {1, 2}));
  ASSERT_TRUE(is_idle());
  EXPECT_EQ(source.clip->reads, 7) << "in memory";
}

TEST_F(scheduler_test, a_jump_drops_what_nobody_wants) {
  start(2);
  made_up_source source(&gate);
  reading->want(frame_owner::playback, requests(source, {1, 2, 3, 4, 5}));
  reading->want(frame_owner::rest, requests(source, {7, 8}));
  ASSERT_TRUE(at_gate(2));
  reading->want(frame_owner::playback, requests(source, {100, 101}));
  reading->cancel(frame_owner::rest);
  gate.open();
  ASSERT_TRUE(is_idle());
  const std::vector<int> read = source.read();
  EXPECT_EQ(std::set<int>(read.begin(), read.end()), (std::set{1, 2, 100, 101}));
}

TEST_F(scheduler_test, cancelled_by_layer) {
  start(1);
  made_up_source one(&gate), other;
  reading->want(frame_owner::preload, requests(one, {0, 1, 2}, "/a.avi", 1));
  ASSERT_TRUE(at_gate(1));
  std::vector<frame_request> both = requests(one, {5}, "/a.avi", 1);
  for (frame_request& r : requests(other, {6, 7}, "/b.avi", 2)) both.push_back(std::move(r));
  reading->want(frame_owner::rest, both);
  reading->cancel_layer(1);
  EXPECT_EQ(reading->waiting_of(frame_owner::preload), 0);
  EXPECT_EQ(reading->waiting_of(frame_owner::rest), 2);
  reading->cancel_ahead();
  gate.open();
  ASSERT_TRUE(is_idle());
  EXPECT_EQ(one.read(), std::vector{0});
  EXPECT_TRUE(other.read().empty());
  EXPECT_NE(frames.find(request(one, 0).key), nullptr) << "the frame at hand is finished";
}

TEST_F(scheduler_test, how_many_at_once) {
  made_up_source source(&gate), movie(&gate), other(&gate);
  movie.clip->in_order = true;
  // Nobody knows yet whether this source waits: as many as there are processors.
  start(4, 2);
  reading->want(frame_owner::playback, requests(source, {0, 1, 2, 3, 4, 5}));
  ASSERT_TRUE(at_gate(2));
  EXPECT_FALSE(support::wait_until([&] { return gate.waiting() > 2; }, milliseconds(30)));
  // It did: as many as there are readers.
  std::this_thread::sleep_for(milliseconds(30));
  gate.permit(2);
  ASSERT_TRUE(at_gate(4));
  gate.open();
  ASSERT_TRUE(is_idle());
  EXPECT_EQ(source.clip->reads, 6);
  // A movie is read one frame at a time, and does not keep others back.
  support::gate second;
  made_up_source slow(&second), in_order(&second);
  in_order.clip->in_order = true;
  start(4, 4);
  reading->want(frame_owner::playback, requests(in_order, {3, 4, 5}, "/m.avi"));
  reading->want(frame_owner::rest, requests(slow, {0, 1}, "/s.avi"));
  ASSERT_TRUE(wait_until([&] { return second.waiting() == 3; }));
  EXPECT_EQ(in_order.read(), std::vector{3});
  second.open();
  ASSERT_TRUE(is_idle());
  EXPECT_EQ(in_order.read(), (std::vector{3, 4, 5}));
}

TEST_F(scheduler_test, the_frame_that_is_waited_for) {
  start(2, 2);
  made_up_source ahead(&gate), shown;
  reading->want(frame_owner::playback, requests(ahead, {0, 1, 2, 3}, "/ahead.avi"));
  ASSERT_TRUE(at_gate(2));
  // Read at once, beside those at hand, on this thread or on one of the pool.
  EXPECT_EQ(reading->fetch(request(shown, 7)).image->row(0, 0)[0], 7);
  EXPECT_EQ(reading->fetch(request(shown, 8), milliseconds(60000)).image->row(0, 0)[0], 8);
  EXPECT_EQ(reading->fetch(request(shown, 8), milliseconds(0)).image->row(0, 0)[0], 8) << "from memory";
  EXPECT_EQ(shown.clip->reads, 2);
  // One that is being read already is waited for: two owners, one read.
  std::thread other([&] { gate.open(); });
  EXPECT_EQ(reading->fetch(request(ahead, 0, "/ahead.avi")).image->row(0, 0)[0], 0);
  other.join();
  ASSERT_TRUE(is_idle());
  EXPECT_EQ(ahead.clip->reads, 4);
}

// While it is decoded, nothing else begins.
TEST_F(scheduler_test, nothing_begins_beside_it) {
  start(4, 2);
  made_up_source shown(&gate), ahead;
  std::thread user([&] { reading->fetch(request(shown, 0)); });
  ASSERT_TRUE(at_gate(1));
  reading->want(frame_owner::playback, requests(ahead, {1, 2}, "/ahead.avi"));
  reading->want(frame_owner::rest, requests(ahead, {3, 4}, "/ahead.avi"));
  std::this_thread::sleep_for(milliseconds(30));
  EXPECT_EQ(ahead.clip->reads, 0);
  gate.open();
  user.join();
  ASSERT_TRUE(is_idle());
  EXPECT_EQ(ahead.clip->reads, 4);
}

TEST_F(scheduler_test, patience_ends_and_the_frame_comes_later) {
  made_up_source slow(&gate);
  std::atomic<int> woken{0};
  reading->set_wake([&] { ++woken; });
  EXPECT_TRUE(reading->fetch(request(slow, 3), milliseconds(1)).pending);
  EXPECT_TRUE(reading->fetch(request(slow, 3), milliseconds(60000)).pending) << "not waited for a second time";
  gate.open();
  ASSERT_TRUE(wait_until([&] { return woken == 1; }));
  EXPECT_EQ(reading->fetch(request(slow, 3), milliseconds(0)).image->row(0, 0)[0], 3);
  EXPECT_EQ(slow.clip->reads, 1);
}

TEST_F(scheduler_test, a_source_that_hangs_holds_its_readers_and_nothing_else) {
  start(2, 2);
  made_up_source dead(&gate), alive;
  reading->want(frame_owner::playback, requests(dead, {0, 1, 2, 3}, "/dead/a.avi"));
  ASSERT_TRUE(at_gate(2));
  reading->want(frame_owner::preload, requests(alive, {0, 1, 2}, "/alive/b.avi"));
  now += cache::frame_scheduler::hang_after - 1;
  reading->look();
  std::this_thread::sleep_for(milliseconds(10));
  EXPECT_EQ(alive.clip->reads, 0) << "it may only be slow";
  ++now;
  reading->look();
  ASSERT_TRUE(wait_until([&] { return alive.clip->reads == 3; }));
  EXPECT_EQ(dead.clip->reads, 2) << "no other frame of it is begun";
  EXPECT_EQ(reading->count().hanging, 2);
  // Nor is it waited for, and other frames are to be had.
  EXPECT_TRUE(reading->fetch(request(dead, 9, "/dead/a.avi"), milliseconds(60000)).pending);
  EXPECT_TRUE(reading->fetch(request(alive, 9, "/alive/b.avi"), milliseconds(60000)).image);
  // The end of the program does not wait; the frames that come late do no harm.
  EXPECT_FALSE(reading->shutdown(milliseconds(1)));
  gate.open();
  EXPECT_TRUE(reading->shutdown(milliseconds(60000)));
  EXPECT_EQ(dead.clip->reads, 2);
}

TEST_F(scheduler_test, a_source_that_comes_back_is_read_again) {
  start(1, 1);
  made_up_source dead(&gate);
  reading->want(frame_owner::rest, requests(dead, {0, 1}));
  ASSERT_TRUE(at_gate(1));
  now += cache::frame_scheduler::hang_after;
  reading->look();
  gate.open();
  ASSERT_TRUE(is_idle());
  EXPECT_EQ(dead.read(), (std::vector{0, 1}));
  EXPECT_EQ(reading->count().hanging, 0);
}

// A format whose files fail or not, as the test says.
class failing_format : public img::format {
 public:
  void read(img::image& image, const std::string& path, const img::layer&) const override {
    ++reads;
    if (out_of_memory) throw std::bad_alloc();
    if (fails) throw io::read_error(path, "Broken");
    image.reset("L", 8, 8, 8);
    image.set_path(path);
  }
  const char* name() const override { return "failing"; }
  mutable std::atomic<int> reads{0};
  std::atomic<bool> fails{true};
  std::atomic<bool> out_of_memory{false};
};

TEST_F(scheduler_test, a_failure_is_tried_again_when_the_file_changes) {
  const support::temp_folder folder;
  failing_format format;
  frame_request broken;
  broken.key.path = folder / "a.1.tga";
  broken.format = &format;
  const auto write = [&](const char* text) { std::ofstream(broken.key.path) << text; };
  write("one");
  reading->want(frame_owner::rest, {broken});
  ASSERT_TRUE(is_idle());
  EXPECT_TRUE(reading->failures().has(broken.key));
  for (int i = 0; i < 3; ++i) EXPECT_THROW(reading->fetch(broken), io::read_error) << "told, and not tried";
  reading->want(frame_owner::playback, {broken});
  ASSERT_TRUE(is_idle());
  EXPECT_EQ(format.reads, 1);
  write("another one");
  EXPECT_THROW(reading->fetch(broken), io::read_error);
  EXPECT_EQ(format.reads, 2);
  format.fails = false;
  std::filesystem::remove(broken.key.path);
  EXPECT_TRUE(reading->fetch(broken).image);
  EXPECT_FALSE(reading->failures().has(broken.key));
  // Memory that ran out says nothing of the frame, but nobody goes on loading ahead.
  format.out_of_memory = true;
  frame_request other = broken;
  other.key.path = folder / "a.2.tga";
  made_up_source never;
  start(1);
  std::vector<frame_request> list = requests(never, {1, 2});
  list.insert(list.begin(), other);
  reading->want(frame_owner::preload, list);
  ASSERT_TRUE(is_idle());
  EXPECT_FALSE(reading->failures().has(other.key));
  EXPECT_EQ(never.clip->reads, 0);
  format.out_of_memory = false;
  EXPECT_TRUE(reading->fetch(other).image);
}

// Who reads ahead gives a frame up where memory is full, and has no memory to say so, or is sent away.
TEST_F(scheduler_test, a_frame_that_somebody_gives_up_is_read_for_who_waits) {
  reading.reset();
  std::atomic<int> refusals{0};
  frames.memory_load = [&] {
    gate.pass();
    if (refusals-- > 0) throw std::bad_alloc();
    return 95;
  };
  start(1);
  made_up_source source;
  reading->want(frame_owner::rest, requests(source, {0}));
  ASSERT_TRUE(at_gate(1));
  cache::frame_scheduler::outcome found;
  std::thread user([&] { found = reading->fetch(request(source, 0)); });
  std::this_thread::sleep_for(milliseconds(30));  // it has joined the read, most likely
  gate.open();
  user.join();
  EXPECT_TRUE(found.image);
  EXPECT_FALSE(found.pending);

  refusals = 1;
  reading->want(frame_owner::rest, requests(source, {1, 2}));
  ASSERT_TRUE(is_idle());
  EXPECT_EQ(source.clip->reads, 1);
  EXPECT_TRUE(reading->fetch(request(source, 1)).image);

  support::gate shut;
  made_up_source slow(&shut);
  reading->want(frame_owner::save, requests(slow, {0}, "/slow.avi"));
  ASSERT_TRUE(wait_until([&] { return shut.waiting() == 1; }));
  std::thread patient([&] { found = reading->fetch(request(source, 3), milliseconds(60000)); });
  EXPECT_TRUE(wait_until([&] { return reading->count().waiting == 1; }));
  EXPECT_FALSE(reading->shutdown(milliseconds(0)));
  patient.join();
  EXPECT_TRUE(found.image) << "read by who waited for it";
  shut.open();
  reading.reset();
}

TEST_F(scheduler_test, more_is_asked_for_once_when_a_list_runs_low) {
  start(1);
  made_up_source source;
  std::atomic<int> woken{0};
  reading->set_wake([&] { ++woken; });
  std::vector<int> numbers;
  for (int i = 0; i < 40; ++i) numbers.push_back(i);
  reading->want(frame_owner::rest, requests(source, numbers), true);
  ASSERT_TRUE(is_idle());
  EXPECT_EQ(woken, 1);
  reading->want(frame_owner::rest, requests(source, {100, 101}));
  ASSERT_TRUE(is_idle());
  EXPECT_EQ(woken, 1);
}

TEST_F(scheduler_test, what_is_only_loaded_ahead_leaves_a_processor_to_a_play) {
  start(4, 2);
  reading->set_spare_processors(1);
  made_up_source source(&gate);
  reading->want(frame_owner::preload, requests(source, {0, 1, 2}));
  ASSERT_TRUE(at_gate(1));
  EXPECT_FALSE(wait_until([&] { return gate.waiting() > 1; }, milliseconds(20)));
  reading->want(frame_owner::playback, requests(source, {10, 11}));
  ASSERT_TRUE(at_gate(2)) << "what the play needs takes both";
  EXPECT_EQ(source.read(), (std::vector{0, 10}));
  gate.permit(2);
  reading->set_spare_processors(0);
  EXPECT_TRUE(wait_until([&] { return source.clip->reads >= 4; }));
  gate.open();
  ASSERT_TRUE(is_idle());
}

TEST_F(scheduler_test, a_play_whose_next_frames_are_there_leaves_one_too) {
  start(4, 2);
  reading->set_spare_processors(1, frame_owner::playback);
  made_up_source source(&gate);
  reading->want(frame_owner::playback, requests(source, {0, 1}));
  ASSERT_TRUE(at_gate(1));
  EXPECT_FALSE(wait_until([&] { return gate.waiting() > 1; }, milliseconds(20)));
  reading->set_spare_processors(1);
  ASSERT_TRUE(at_gate(2));
}

TEST_F(scheduler_test, tasks_go_before_frames) {
  start(1, 1);
  made_up_source source(&gate);
  std::vector<std::string> order;
  reading->want(frame_owner::save, requests(source, {0, 1}));
  ASSERT_TRUE(at_gate(1));
  std::atomic<int> done{0};
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(reading->run([&, i] {
      order.push_back("task " + std::to_string(i) + " after " + std::to_string(source.clip->reads));
      ++done;
    }));
  }
  gate.open();
  ASSERT_TRUE(wait_until([&] { return done == 2; }));
  ASSERT_TRUE(is_idle());
  EXPECT_EQ(order, (std::vector<std::string>{"task 0 after 1", "task 1 after 1"}));
}

// For the thread sanitizer: every call against every other.
TEST_F(scheduler_test, everybody_at_once) {
  start(4, 4);
  made_up_source source, movie;
  movie.clip->in_order = true;
  std::atomic<bool> stop{false};
  std::thread saver([&] {
    for (int i = 0; !stop; i = (i + 1) % 200) {
      reading->want(frame_owner::save, requests(source, {i, i + 1, i + 2}));
      ASSERT_TRUE(reading->fetch(request(source, i)).image);
      if (i % 9 == 0) reading->run([] {});
    }
  });
  for (int i = 0; i < 300; ++i) {
    reading->want(frame_owner::playback, requests(source, {i, i + 1, i + 2, i + 3}), true);
    reading->want(frame_owner::rest, requests(movie, {i, i + 1, i + 2}, "/m.avi", 2));
    EXPECT_TRUE(reading->fetch(request(movie, i / 2, "/m.avi"), milliseconds(60000)).image);
    if (i % 7 == 0) reading->cancel_layer(2);
    if (i % 11 == 0) reading->cancel_ahead();
    if (i % 13 == 0) frames.clear();
    if (i % 17 == 0) reading->set_readers(1 + i % 8);
    ++now;
    reading->look();
    reading->for_each([](const frame_request&, bool) {});
  }
  stop = true;
  saver.join();
  ASSERT_TRUE(is_idle());
  EXPECT_EQ(frames.check_invariants(), "");
}

}  // namespace
