// Row loops on the OpenMP threads. All parallel pixel work of the program goes through here.
#pragma once

#include <algorithm>

#if defined(KSN_PLAIN_THREADS)
#include <thread>
#include <vector>
#else
#include <omp.h>
#endif

namespace lib {

// Number of threads that a parallel loop uses; at least 1. The start value is the number of processors.
int thread_count();
// Sets it for the loops that start from now on; 0 brings the number of processors back. Tests use it to show that
// pictures do not depend on it.
void set_thread_count(int count);

// Calls body(first, last) for the half-open stretches of `chunk` items that cover 0 to `count`, dealt to the threads
// by a static schedule: thread t takes stretches t, t + threads, and so on. Returns when all are done. A call from
// inside a body runs on the calling thread. `body` must not throw.
template <class Body>
void parallel_chunks(int count, int chunk, Body&& body) {
  if (count <= 0) return;
  const int stretches = (count + chunk - 1) / chunk;
#if defined(KSN_PLAIN_THREADS)
  // Sanitizer builds: the OpenMP runtime's barriers are unknown to them, so plain threads follow the same schedule.
  static thread_local bool nested = false;
  const int threads = nested ? 1 : std::min(thread_count(), stretches);
  auto run = [&](int t) {
    nested = true;
    for (int i = t; i < stretches; i += threads) body(i * chunk, std::min(count, (i + 1) * chunk));
  };
  const bool outer = nested;
  std::vector<std::thread> others;
  for (int t = 1; t < threads; ++t) others.emplace_back(run, t);
  run(0);
  nested = outer;
  for (auto& other : others) other.join();
#else
  if (stretches == 1 || omp_in_parallel() || thread_count() == 1) {
    for (int i = 0; i < stretches; ++i) body(i * chunk, std::min(count, (i + 1) * chunk));
    return;
  }
#pragma omp parallel for schedule(static, 1) num_threads(thread_count())
  for (int i = 0; i < stretches; ++i) body(i * chunk, std::min(count, (i + 1) * chunk));
#endif
}

// Divides 0 to `rows` into one contiguous stretch a thread and calls body(first, last) for each. Runs on the calling
// thread alone when `items` (the samples that the loop will touch) is below 4096.
template <class Body>
void parallel_rows(int rows, long long items, Body&& body) {
  if (rows <= 0) return;
  const int threads = items < 4096 ? 1 : std::max(1, thread_count());
  parallel_chunks(rows, (rows + threads - 1) / threads, body);
}

}  // namespace lib
