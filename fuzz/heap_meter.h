// How much of the heap is taken at once, as the address sanitizer sees it. Without that it measures nothing.
#pragma once

#include <atomic>
#include <cstdio>
#include <cstdlib>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KSN_HEAP_IS_METERED
#include <sanitizer/allocator_interface.h>
#endif
#endif

namespace fuzz {

class heap_meter {
 public:
  heap_meter() {
    static const bool installed = install();
    (void)installed;
    restart();
  }
  // Counts from what is taken now.
  void restart() {
    start_ = taken.load();
    most = start_;
  }
  // Ends the program if more than `bytes` were taken at once since the last start.
  void expect_at_most(long long bytes) const {
    const long long found = most - start_;
    if (found <= bytes) return;
    std::fprintf(stderr, "%lld bytes of the heap were taken, where at most %lld are needed\n", found, bytes);
    std::abort();
  }

 private:
  static inline std::atomic<long long> taken{0}, most{0};
  long long start_ = 0;

#ifdef KSN_HEAP_IS_METERED
  static void on_take(const volatile void*, std::size_t size) {
    const long long now = taken += static_cast<long long>(size);
    long long before = most.load();
    while (before < now && !most.compare_exchange_weak(before, now)) {
    }
  }
  static void on_free(const volatile void* block) {
    if (block) taken -= static_cast<long long>(__sanitizer_get_allocated_size(const_cast<const void*>(block)));
  }
  static bool install() {
    return __sanitizer_install_malloc_and_free_hooks(on_take, on_free) != 0;
  }
#else
  static bool install() {
    return false;
  }
#endif
};

}  // namespace fuzz
