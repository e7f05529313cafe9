// The places that Linux tells memory use in, below a root folder so that a test can lay out its own.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/memory.h"

namespace platform {

// Percent in use: 100 - available * 100 / total by integer division, 0 to 100; 0 when `total` is 0.
int load_percent(std::uint64_t available, std::uint64_t total);

// The load by `<root>/proc` and `<root>/sys/fs/cgroup`, with "" for the machine's own. What is not there counts as no
// limit. `address_space_limit` is in bytes, 0 for none.
memory_status read_memory_status(const std::string& root, std::uint64_t address_space_limit);

}  // namespace platform
