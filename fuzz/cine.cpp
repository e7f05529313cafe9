// The frames of a Cine file.
#include <cstring>

#include "sources/cine.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto cine = sources::cine_file::open(
      [&](void* buffer, std::size_t count, std::int64_t offset) {
        if (offset < 0 || count > size || offset > static_cast<std::int64_t>(size - count)) return false;
        std::memcpy(buffer, data + offset, count);
        return true;
      },
      static_cast<std::int64_t>(size));
  if (!cine) return 0;
  for (const int frame : {0, 1, cine->frames() - 1, -1}) {
    img::image_info info;
    cine->describe(frame, info);
  }
  return 0;
}
