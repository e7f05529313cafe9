// Only the io family may come out, and every sample of a wave that comes out is there.
#include <cstdlib>

#include "io/exceptions.h"
#include "io/memory_reader.h"
#include "sources/wave.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  io::memory_reader reader(data, size);
  try {
    const auto wave = sources::read_wave(reader, static_cast<long long>(size));
    if (wave->frame_bytes() < 1 || wave->sample_rate == 0 || wave->data.size() > size) std::abort();
    if (wave->peak() > 32768) std::abort();
  } catch (const io::exception&) {
  }
  return 0;
}
