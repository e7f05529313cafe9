// Memory that runs out anywhere in the program is found in the frame cache first: the program's operator new and its
// twins try 16 times, and after each failure the image touched longest ago goes. Sanitizer builds keep the operators
// of the sanitizer.
#pragma once

#include <cstddef>

namespace cache {

class frame_cache;

// The cache that gives memory back; null for none. It forgets itself when it goes.
void set_allocation_fallback(frame_cache* cache);
void forget_allocation_fallback(frame_cache* cache);

// Whether this build has operators of its own.
bool has_own_operators();

constexpr int allocation_attempts = 16;

// Calls `attempt` until it gives a block, at most 16 times, and evicts one image after each failure. Null at the end.
// An allocation that fails while an eviction runs on the same thread evicts nothing.
void* allocate_with_retries(std::size_t size, std::size_t alignment,
                            void* (*attempt)(std::size_t size, std::size_t alignment)) noexcept;

}  // namespace cache
