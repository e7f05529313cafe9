#include "lib/parallel.h"

#include <atomic>
#include <thread>

namespace lib {
namespace {

std::atomic<int> wanted_threads{0};

}  // namespace

int thread_count() {
  const int wanted = wanted_threads.load(std::memory_order_relaxed);
  if (wanted > 0) return wanted;
  static const int processors = std::max(1u, std::thread::hardware_concurrency());
  return processors;
}

void set_thread_count(int count) {
  wanted_threads.store(count, std::memory_order_relaxed);
}

}  // namespace lib
