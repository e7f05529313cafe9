#include "cache/allocation.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <memory>
#include <new>
#include <string>
#include <vector>

#include "cache/frame_cache.h"

namespace {

using cache::frame_cache;

struct scripted_heap {
  static inline int failures = 0;
  static inline int attempts = 0;
  static inline std::size_t size = 0;
  static inline std::size_t alignment = 0;
  static inline char block[8];

  static void* attempt(std::size_t wanted, std::size_t wanted_alignment) {
    ++attempts;
    size = wanted;
    alignment = wanted_alignment;
    return attempts > failures ? block : nullptr;
  }
  static void* run(int fail) {
    failures = fail;
    attempts = 0;
    return cache::allocate_with_retries(123, 64, attempt);
  }
};

img::const_image_ptr picture(int width, int height) {
  const img::image_ptr image(new img::image("B", 8, width, height));
  image->path = std::to_string(width);
  return image;
}

TEST(allocation, evicts_one_image_for_each_failure) {
  frame_cache cache;
  cache.memory_load = [] { return 0; };
  auto fill = [&] {
    while (cache.queue_size() < 20) cache.touch(picture(1 + static_cast<int>(cache.queue_size()), 1));
    std::set<std::string> ignored;
    cache.take_changes(ignored);
  };
  struct row {
    int failures, attempts, evicted;
    bool found;
  };
  const row rows[] = {{0, 1, 0, true}, {1, 2, 1, true}, {15, 16, 15, true}, {16, 16, 16, false}, {99, 16, 16, false}};
  cache::set_allocation_fallback(&cache);
  for (const row& r : rows) {
    fill();
    void* block = scripted_heap::run(r.failures);
    EXPECT_EQ(block == scripted_heap::block, r.found) << r.failures;
    EXPECT_EQ(scripted_heap::attempts, r.attempts) << r.failures;
    EXPECT_EQ(20 - static_cast<int>(cache.queue_size()), r.evicted) << r.failures;
    std::set<std::string> changed;
    EXPECT_EQ(cache.take_changes(changed), r.evicted > 0) << r.failures;
    EXPECT_TRUE(changed.empty()) << "noting a path would ask for memory";
    EXPECT_EQ(scripted_heap::size, 123u);
    EXPECT_EQ(scripted_heap::alignment, 64u);
  }
  cache::set_allocation_fallback(nullptr);
  fill();
  EXPECT_EQ(scripted_heap::run(3), scripted_heap::block);
  EXPECT_EQ(cache.queue_size(), 20u);
}

TEST(allocation, a_cache_that_is_gone_is_not_asked) {
  {
    frame_cache cache;
    cache::set_allocation_fallback(&cache);
  }
  EXPECT_EQ(scripted_heap::run(2), scripted_heap::block);
  // Only the registered one forgets itself.
  frame_cache kept;
  kept.memory_load = [] { return 0; };
  kept.touch(picture(1, 1));
  cache::set_allocation_fallback(&kept);
  { frame_cache other; }
  scripted_heap::run(1);
  EXPECT_EQ(kept.queue_size(), 0u);
}

// In a child process whose address space is small, with a cache that fills it.
[[noreturn]] void run_out_of_memory() {
  rlimit limit{600u << 20, 600u << 20};
  if (setrlimit(RLIMIT_AS, &limit) != 0) std::exit(10);
  frame_cache cache;
  cache.memory_load = [] { return 0; };
  cache::set_allocation_fallback(&cache);
  // Each takes 16 MiB; twice as many as fit. The aligned operator of the planes evicts for itself.
  for (int i = 0; i < 70; ++i) cache.touch(picture(4096 + i, 4096));
  if (cache.queue_size() < 10 || cache.queue_size() > 37) std::exit(11);
  if (cache.check_invariants() != "") std::exit(12);
  // So does the plain one, and the one that doesn't throw: 400 MiB can't stand beside what the cache holds.
  const std::size_t before = cache.queue_size();
  {
    std::vector<std::unique_ptr<char[]>> blocks;
    for (int i = 0; i < 20; ++i) {
      char* block = i % 2 ? new char[20u << 20] : new (std::nothrow) char[20u << 20];
      if (!block) std::exit(13);
      blocks.emplace_back(block);
    }
    if (cache.queue_size() >= before) std::exit(14);
  }
  // A size that no machine has empties 16 places, and the caller is told.
  if (::operator new (std::size_t{1} << 40, std::nothrow)) std::exit(15);
  try {
    ::operator delete(::operator new (std::size_t{1} << 40));
    std::exit(16);
  } catch (const std::bad_alloc& e) {
    if (std::string(e.what()) != "bad allocation") std::exit(17);
  }
  if (cache.queue_size() != 0) std::exit(18);
  std::exit(0);
}

TEST(allocation_death, frames_make_room_for_everything) {
  if (!cache::has_own_operators()) GTEST_SKIP() << "the sanitizer has the operators";
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(run_out_of_memory(), testing::ExitedWithCode(0), "");
}

}  // namespace
