#include <ImfThreading.h>

#include "image_reader.h"
#include "img/formats/exr/library.h"
#include "lib/parallel.h"

// On one thread: small pictures spend their time in waking others.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  lib::set_thread_count(1);
  img::start_exr_threads();
  Imf::setGlobalThreadCount(0);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Frames of a film are for tests: here most of their time would go to sound pixels. -1 keeps an input out of the
  // corpus.
  return fuzz::read_as("exr", data, size, {.pixels = 128 * 128, .layers = 3, .own_sizes = true}) ? 0 : -1;
}
