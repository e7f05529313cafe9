#include "cache/lru.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using cache::play_return;

// Images known by numbers, of 64 bytes each.
struct numbered {
  cache::lru lru;
  std::vector<img::const_image_ptr> images;

  explicit numbered(int count) {
    for (int i = 0; i < count; ++i) {
      images.push_back(std::make_shared<img::image>("L", 8, 8, 8));
      touch(i);
    }
  }
  void touch(int number) {
    cache::lru::node made(images[static_cast<std::size_t>(number)]);
    lru.touch(images[static_cast<std::size_t>(number)].get(), made);
  }
  void pass(int number) { lru.pass(images[static_cast<std::size_t>(number)].get()); }
  // Takes all, the first to go first.
  std::string drained() {
    std::string text;
    while (lru.size() != 0) {
      const cache::lru::entries taken = lru.take(1);
      for (std::size_t i = 0; i < images.size(); ++i) {
        if (images[i] == taken.front().image) text += std::to_string(i) + " ";
      }
    }
    return text;
  }
};

TEST(lru, who_goes_first) {
  const auto play = [](numbered& n, play_return way) {
    n.lru.begin_play(way);
    for (const int i : {7, 6, 5, 4, 3, 2}) n.touch(i);  // the play's own, the next one last
    for (const int i : {2, 3, 4}) n.touch(i), n.pass(i);
  };
  const struct {
    const char* what;
    std::function<void(numbered&)> steps;
    const char* order;
  } rows[] = {
      {"touched longest ago", [](numbered& n) { n.touch(0), n.touch(3); }, "1 2 4 5 6 7 0 3 "},
      {"without a play nothing is passed", [](numbered& n) { n.pass(5); }, "0 1 2 3 4 5 6 7 "},
      {"around: strangers, then what was shown last", [&](numbered& n) { play(n, play_return::around); },
       "0 1 4 3 2 7 6 5 "},
      {"back: strangers, then what was shown first", [&](numbered& n) { play(n, play_return::back); },
       "0 1 2 3 4 7 6 5 "},
      {"after a turn", [&](numbered& n) { play(n, play_return::back), n.lru.turn_play(); }, "0 1 7 6 5 2 3 4 "},
      {"after the play", [&](numbered& n) { play(n, play_return::around), n.lru.end_play(); }, "0 1 7 6 5 2 3 4 "},
      {"shown again", [&](numbered& n) { play(n, play_return::around), n.touch(4); }, "0 1 3 2 7 6 5 4 "},
  };
  for (const auto& row : rows) {
    numbered n(8);
    row.steps(n);
    EXPECT_EQ(n.lru.check_invariants(), "") << row.what;
    EXPECT_EQ(n.lru.bytes(), 8 * cache::bytes_of(*n.images[0])) << row.what;
    EXPECT_EQ(n.drained(), row.order) << row.what;
    EXPECT_EQ(n.lru.bytes(), 0u) << row.what;
  }
}

// A loop of 100 frames and memory for 75: three quarters of the second turn are in memory, in whatever order they go.
TEST(lru, a_loop_that_does_not_fit_keeps_a_steady_part) {
  for (const bool around : {true, false}) {
    numbered n(100);
    n.lru.take_all();
    n.lru.begin_play(around ? play_return::around : play_return::back);
    int found = 0;
    for (int turn = 0; turn < 4; ++turn) {
      if (turn > 0 && !around) n.lru.turn_play();
      for (int step = 0; step < 100; ++step) {
        const int frame = around || turn % 2 == 0 ? step : 99 - step;
        found += turn == 3 && n.lru.touch(n.images[static_cast<std::size_t>(frame)].get());
        n.touch(frame);
        if (n.lru.size() > 75) n.lru.take(1);
        n.pass(frame);
        ASSERT_EQ(n.lru.check_invariants(), "");
      }
    }
    EXPECT_GE(found, 74) << around;
  }
}

}  // namespace
