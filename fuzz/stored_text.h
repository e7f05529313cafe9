// Helpers of the targets of content that stands in a text: base64 of a zlib stream around an archive.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "composition/stored_text.h"
#include "io/exceptions.h"
#include "lib/base64.h"

namespace fuzz {

// The text that an input stands for. Of one that begins with 'a' the rest is the archive, which would hardly be reached
// through the two layers around it; any other is the text itself.
inline std::string text_of(const std::uint8_t* data, std::size_t size) {
  if (size == 0 || data[0] != 'a') return {reinterpret_cast<const char*>(data), size};
  uLongf packed = compressBound(size - 1);
  std::vector<std::uint8_t> bytes(packed);
  if (compress2(bytes.data(), &packed, data + 1, size - 1, 1) != Z_OK) std::abort();
  bytes.resize(packed);
  return lib::to_base64(bytes);
}

}  // namespace fuzz
