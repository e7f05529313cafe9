#include "img/formats/exr/codecs.h"

#include <algorithm>
#include <cstring>

namespace img {

bool expand_exr_runs(const std::uint8_t* in, std::size_t in_size, std::uint8_t* out, std::size_t size) {
  std::size_t done = 0;
  for (std::size_t i = 0; i < in_size;) {
    // A count of 0 and up stands before the value of one byte more than that, one below 0 before as many bytes.
    const int count = static_cast<std::int8_t>(in[i++]);
    const std::size_t length = static_cast<std::size_t>(count < 0 ? -count : count + 1);
    const std::size_t taken = count < 0 ? length : 1;
    if (taken > in_size - i || length > size - done) return false;
    if (count < 0) {
      std::memcpy(out + done, in + i, length);
    } else {
      std::memset(out + done, in[i], length);
    }
    done += length;
    i += taken;
  }
  return done == size;
}

std::size_t pack_exr_runs(const std::uint8_t* in, std::size_t in_size, std::uint8_t* out, std::size_t room) {
  constexpr std::size_t longest_run = 128;
  constexpr std::size_t longest_literal = 127;
  std::size_t used = 0;
  for (std::size_t i = 0; i < in_size;) {
    std::size_t end = i + 1;
    while (end < in_size && end - i < longest_run && in[end] == in[i]) ++end;
    if (end - i >= 3) {
      if (room - used < 2) return 0;
      out[used++] = static_cast<std::uint8_t>(end - i - 1);
      out[used++] = in[i];
    } else {
      const std::size_t limit = std::min(in_size, i + longest_literal);
      while (end < limit && !(end + 2 < in_size && in[end] == in[end + 1] && in[end] == in[end + 2])) ++end;
      const std::size_t size = end - i;
      if (room - used < size + 1) return 0;
      out[used++] = static_cast<std::uint8_t>(-static_cast<int>(size));
      std::memcpy(out + used, in + i, size);
      used += size;
    }
    i = end;
  }
  return used;
}

const std::uint8_t* unpack_pxr24(const std::uint8_t* in, std::uint8_t* out, std::span<const exr_row> rows) {
  for (const exr_row& row : rows) {
    const std::size_t n = row.samples;
    std::uint32_t sum = 0;
    if (row.type == EXR_PIXEL_HALF) {
      for (std::size_t i = 0; i < n; ++i) {
        sum += static_cast<std::uint32_t>(in[i] << 8 | in[n + i]);
        const std::uint16_t half = static_cast<std::uint16_t>(sum);
        std::memcpy(out + row.at + 2 * i, &half, 2);
      }
      in += 2 * n;
    } else {
      // Highest bytes first.
      const bool is_float = row.type == EXR_PIXEL_FLOAT;
      for (std::size_t i = 0; i < n; ++i) {
        const std::uint32_t upper = static_cast<std::uint32_t>(in[i]) << 24 | static_cast<std::uint32_t>(in[n + i])
                                                                                  << 16;
        sum += upper | static_cast<std::uint32_t>(in[2 * n + i]) << 8 | (is_float ? 0u : in[3 * n + i]);
        std::memcpy(out + row.at + 4 * i, &sum, 4);
      }
      in += (is_float ? 3 : 4) * n;
    }
  }
  return in;
}

}  // namespace img
