#include "cache/allocation.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>

#include "cache/frame_cache.h"
#include "img/plane.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define KSN_SANITIZED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define KSN_SANITIZED
#endif
#endif

namespace cache {
namespace {

// One per process, as the `operator new` that it serves is: the language hands it no object that it could belong to.
std::atomic<frame_cache*> fallback{nullptr};
thread_local bool evicting = false;

void evict_one() noexcept {
  frame_cache* cache = fallback.load(std::memory_order_acquire);
  if (!cache || evicting) return;
  evicting = true;
  cache->evict_for_allocation();
  // Freed planes wait for the next picture of their size; whoever is out of memory needs them now.
  img::release_spare_planes();
  evicting = false;
}

}  // namespace

void set_allocation_fallback(frame_cache* cache) {
  fallback.store(cache, std::memory_order_release);
}

void forget_allocation_fallback(frame_cache* cache) {
  fallback.compare_exchange_strong(cache, nullptr);
}

bool has_own_operators() {
#if defined(KSN_SANITIZED)
  return false;
#else
  return true;
#endif
}

void* allocate_with_retries(std::size_t size, std::size_t alignment,
                            void* (*attempt)(std::size_t size, std::size_t alignment)) noexcept {
  for (int i = 0; i < allocation_attempts; ++i) {
    if (void* block = attempt(size, alignment)) return block;
    evict_one();
  }
  return nullptr;
}

}  // namespace cache

#if !defined(KSN_SANITIZED)

namespace {

struct out_of_memory : std::bad_alloc {
  const char* what() const noexcept override { return "bad allocation"; }
};

void* plain_block(std::size_t size, std::size_t) {
  return std::malloc(size);
}

void* aligned_block(std::size_t size, std::size_t alignment) {
  void* block = nullptr;
  return posix_memalign(&block, alignment, size) == 0 ? block : nullptr;
}

void* allocate(std::size_t size) noexcept {
  return cache::allocate_with_retries(size ? size : 1, 0, plain_block);
}

void* allocate(std::size_t size, std::align_val_t alignment) noexcept {
  return cache::allocate_with_retries(size ? size : 1, std::max(static_cast<std::size_t>(alignment), sizeof(void*)),
                                      aligned_block);
}

void* or_throw(void* block) {
  if (!block) throw out_of_memory();
  return block;
}

}  // namespace

// The array forms and the sized forms of the library call these.
void* operator new(std::size_t size) {
  return or_throw(allocate(size));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  return or_throw(allocate(size, alignment));
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return allocate(size, alignment);
}
void operator delete(void* block) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}
void operator delete(void* block, std::align_val_t) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
  std::free(block);
}

#endif
