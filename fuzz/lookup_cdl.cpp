// Any text as a .cdl lookup table: refused with a reason, or a table that can be used and written.
#include "lookup.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return fuzz_lookup(img::read_cdl, data, size);
}
