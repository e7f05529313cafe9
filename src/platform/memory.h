// How full the machine's memory is.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

struct memory_status {
  int physical_load = 0;       // percent of memory in use: 100 - available * 100 / total, of the machine or of the
                               // control group, whichever is fuller
  int address_space_load = 0;  // percent of the process's address-space limit in use; 0 without a limit
};
memory_status query_memory();

// Bytes that this process can still take before the machine, its control group or its address-space limit is full.
// Pages of cached files and free swap space count as free.
std::uint64_t available_memory();

// Call it before the first thread starts: where the address space is limited, threads share heaps, of which each sets
// 64 MB aside.
void respect_address_space_limit();

// Has the system give the pages that the bytes lie on now, if they have none yet: that costs less than a fault for each
// when it is first written. What they hold stays. Only a wish.
void make_present(void* begin, std::size_t bytes);

// Gives free heap memory back to the system.
void release_free_memory();

}  // namespace platform
