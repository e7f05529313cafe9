#include "image_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::read_as("yuv", data, size);
  return 0;
}
