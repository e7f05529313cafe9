#include "img/formats/tga/runs.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "img/at_level.h"

namespace img {

KSN_DECLARE_LEVELS(extern const tga_kernels tga_rows)

namespace {

constexpr std::size_t longest_packet = 128;

// The first place from x on, and below `end`, whose bit differs from `set`; `end` when there is none.
std::size_t end_of_stretch(const std::uint64_t* bits, std::size_t x, std::size_t end, bool set) {
  while (x < end) {
    const std::uint64_t word = (set ? ~bits[x / 64] : bits[x / 64]) >> (x % 64);
    if (word) return std::min(end, x + static_cast<std::size_t>(std::countr_zero(word)));
    x = (x / 64 + 1) * 64;
  }
  return end;
}

// In steps of 16 bytes, since most packets are shorter than a call of memcpy is worth.
void copy_ahead(std::uint8_t* to, const std::uint8_t* from, std::size_t size) {
  for (std::size_t i = 0; i < size; i += 16) std::memcpy(to + i, from + i, 16);
}

}  // namespace

const tga_kernels& active_tga_kernels() {
  return KSN_AT_LEVEL(tga_rows);
}

std::size_t tga_pack_row(const std::uint8_t* pixels, int bytes, std::size_t count, const std::uint64_t* bits,
                         std::uint8_t* out) {
  std::uint8_t* to = out;
  const auto size = static_cast<std::size_t>(bytes);
  for (std::size_t x = 0; x < count;) {
    const std::size_t limit = std::min(count, x + longest_packet);
    // A pixel that equals its right neighbour begins a run; the bit of the row's last pixel is clear.
    const bool run = (bits[x / 64] >> (x % 64) & 1) != 0;
    std::size_t end;
    if (run) {
      end = std::min(limit, end_of_stretch(bits, x, limit, true) + 1);
      *to++ = static_cast<std::uint8_t>((end - x - 1) | 128);
      copy_ahead(to, pixels + x * size, size);
      to += size;
    } else {
      end = end_of_stretch(bits, x, limit, false);
      *to++ = static_cast<std::uint8_t>(end - x - 1);
      copy_ahead(to, pixels + x * size, (end - x) * size);
      to += (end - x) * size;
    }
    x = end;
  }
  return static_cast<std::size_t>(to - out);
}

}  // namespace img
