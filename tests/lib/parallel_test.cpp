#include "lib/parallel.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

class parallel : public testing::Test {
 protected:
  ~parallel() override { lib::set_thread_count(0); }
};

// How often each of `count` items was visited.
std::vector<int> visits(int count, int chunk) {
  std::vector<std::atomic<int>> seen(static_cast<std::size_t>(count));
  lib::parallel_chunks(count, chunk, [&](int first, int last) {
    EXPECT_LE(last - first, chunk);
    for (int i = first; i < last; ++i) ++seen[i];
  });
  return {seen.begin(), seen.end()};
}

TEST_F(parallel, every_item_once) {
  for (const int threads : {1, 2, 3, 7}) {
    lib::set_thread_count(threads);
    for (const int count : {0, 1, 3, 4, 5, 1080, 4099}) {
      for (const int chunk : {1, 4, 64, 5000}) {
        EXPECT_EQ(visits(count, chunk), std::vector<int>(count, 1)) << threads << ' ' << count << ' ' << chunk;
      }
    }
  }
}

TEST_F(parallel, loops_inside_loops_and_from_several_threads) {
  lib::set_thread_count(3);
  std::atomic<int> inner{0};
  lib::parallel_chunks(8, 1, [&](int, int) { lib::parallel_chunks(10, 1, [&](int, int) { ++inner; }); });
  EXPECT_EQ(inner, 80);

  std::atomic<int> total{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 200; ++i) lib::parallel_chunks(50, 4, [&](int first, int last) { total += last - first; });
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(total, 4 * 200 * 50);
}

TEST_F(parallel, a_loop_in_background_gives_the_threads_away) {
  lib::set_thread_count(2);
  std::atomic<bool> begun{false};
  std::vector<int> seen(500);
  std::thread below([&] {
    const lib::background_scope scope;
    lib::parallel_chunks(static_cast<int>(seen.size()), 1, [&](int first, int) {
      ++seen[static_cast<std::size_t>(first)];
      begun = true;
      std::this_thread::yield();
    });
  });
  while (!begun) std::this_thread::yield();
  for (int i = 0; i < 3; ++i) {
    // Neither item ends before the other begins: without a second thread this would hang.
    std::atomic<int> inside{0};
    lib::parallel_chunks(2, 1, [&](int, int) {
      ++inside;
      while (inside < 2) std::this_thread::yield();
    });
  }
  below.join();
  EXPECT_EQ(seen, std::vector<int>(seen.size(), 1));
}

TEST_F(parallel, the_lowest_failure_of_a_body_reaches_the_caller) {
  for (const int threads : {1, 3}) {
    lib::set_thread_count(threads);
    for (const int bad : {0, 57, 99}) {
      std::string thrown;
      try {
        lib::parallel_chunks(100, 1, [&](int first, int) {
          if (first == bad) std::this_thread::sleep_for(std::chrono::milliseconds(1));
          if (first >= bad) throw std::runtime_error(std::to_string(first));
        });
      } catch (const std::runtime_error& failure) {
        thrown = failure.what();
      }
      EXPECT_EQ(thrown, std::to_string(bad)) << threads;
      EXPECT_EQ(visits(100, 1), std::vector<int>(100, 1)) << "the loop after it";
    }
  }
}

TEST_F(parallel, small_rows_stay_on_the_calling_thread) {
  lib::set_thread_count(4);
  const auto caller = std::this_thread::get_id();
  lib::parallel_rows(100, 4095, [&](int, int) { EXPECT_EQ(std::this_thread::get_id(), caller); });
  std::atomic<int> rows{0};
  lib::parallel_rows(1081, 1 << 20, [&](int first, int last) { rows += last - first; });
  EXPECT_EQ(rows, 1081);
}

}  // namespace
