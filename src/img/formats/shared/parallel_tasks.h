// Pieces of a file that are read and decoded on all threads, with failures as exceptions.
#pragma once

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>

#include "lib/foreground.h"
#include "lib/parallel.h"

namespace img {

// Calls body(i, own) for 0 to count - 1 on up to `threads` threads, each of which takes the next number when it is done
// with one, since pieces differ much in work. `own` is an Own of the thread. The failure of the lowest number is thrown
// when all have stopped.
template <class Own, class Body>
void parallel_tasks(int count, int threads, Body&& body) {
  std::atomic<int> next{0};
  std::atomic<int> failed{count};
  std::exception_ptr failure;  // of task `failed`
  std::mutex lock;             // guards failure
  lib::parallel_chunks(std::min(count, threads), 1, [&](int, int) {
    int i = 0;
    try {
      Own own;
      while ((i = next++) < failed) {
        lib::give_way();
        body(i, own);
      }
    } catch (...) {
      const std::lock_guard hold(lock);
      if (i < failed) {
        failed = i;
        failure = std::current_exception();
      }
    }
  });
  if (failure) std::rethrow_exception(failure);
}

}  // namespace img
