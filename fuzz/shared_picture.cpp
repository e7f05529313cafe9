// The begin of a block of shared memory. What is taken for a picture lies inside the block.
#include "sources/shared_picture.h"

#include <algorithm>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  sources::shared_picture_header header;
  std::string reason;
  const std::size_t count = std::min<std::size_t>(size, sources::shared_picture_header::most_bytes);
  // Blocks are larger than what is read of them first.
  for (const std::int64_t block : {static_cast<std::int64_t>(size), std::int64_t{1} << 20, std::int64_t{1} << 40}) {
    if (block < static_cast<std::int64_t>(size)) continue;
    if (!sources::parse_header(data, count, block, header, reason)) {
      if (reason.empty()) std::abort();
      continue;
    }
    const std::int64_t pixels = static_cast<std::int64_t>(header.width) * header.height;
    if (header.width < 1 || header.height < 1 || header.color_offset < 32 || header.color_offset + 4 * pixels > block ||
        header.alpha_offset + (header.alpha_offset ? pixels : 0) > block || header.project.size() > 64) {
      std::abort();
    }
  }
  return 0;
}
