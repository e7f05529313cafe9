#include "img/formats/shared/packbits.h"

#include <algorithm>
#include <cstring>

namespace img {

std::size_t unpack_packbits(std::uint8_t* out, std::size_t room, const std::uint8_t* in, std::size_t size,
                            std::size_t* used) {
  std::size_t filled = 0, at = 0;
  while (filled < room && at < size) {
    const std::uint8_t code = in[at++];
    if (code == 128) continue;
    if (code < 128) {
      const std::size_t count = std::min<std::size_t>({code + 1U, room - filled, size - at});
      std::memcpy(out + filled, in + at, count);
      filled += count;
      at += count;
    } else if (at < size) {
      const std::size_t count = std::min<std::size_t>(257U - code, room - filled);
      std::memset(out + filled, in[at++], count);
      filled += count;
    }
  }
  if (used) *used = at;
  return filled;
}

std::size_t pack_packbits(std::uint8_t* out, const std::uint8_t* in, std::size_t size) {
  std::uint8_t* to = out;
  for (std::size_t at = 0; at < size;) {
    std::size_t run = 1;
    while (run < 128 && at + run < size && in[at + run] == in[at]) ++run;
    if (run >= 3) {
      *to++ = static_cast<std::uint8_t>(257 - run);
      *to++ = in[at];
      at += run;
      continue;
    }
    // Literals up to the next run of three.
    std::size_t count = 1;
    while (count < 128 && at + count < size &&
           !(at + count + 2 < size && in[at + count] == in[at + count + 1] && in[at + count] == in[at + count + 2])) {
      ++count;
    }
    *to++ = static_cast<std::uint8_t>(count - 1);
    std::memcpy(to, in + at, count);
    to += count;
    at += count;
  }
  return static_cast<std::size_t>(to - out);
}

}  // namespace img
