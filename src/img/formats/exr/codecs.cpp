#include "img/formats/exr/codecs.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace img {
namespace {

std::uint64_t big_endian64(const std::uint8_t* bytes) {
  std::uint64_t value;
  std::memcpy(&value, bytes, 8);
  return __builtin_bswap64(value);
}

// Halves are coded as numbers in their own order: the sign bit turned for positive ones, all bits for negative ones.
std::uint16_t half_of_ordered(std::uint32_t ordered) {
  return static_cast<std::uint16_t>((ordered & 0x8000u) != 0 ? ordered & 0x7FFFu : ~ordered);
}

// 16 bits of the first value, 6 of a shift, and 15 differences of 6 bits: down the first column, then for each further
// column from the one before it. Each is shifted and stands 32 above its value.
void unpack_block(const std::uint8_t* in, std::uint16_t (&out)[4][4]) {
  const std::uint64_t upper = big_endian64(in);
  const std::uint64_t lower = big_endian64(in + 6);
  const unsigned shift = static_cast<unsigned>(upper >> 42 & 63u);
  const std::uint32_t offset = 32u << shift;
  const auto difference = [&](std::uint64_t bits, int at) {
    return (static_cast<std::uint32_t>(bits >> at & 63u) << shift) - offset;
  };
  std::array<std::uint32_t, 4> column;
  column[0] = static_cast<std::uint32_t>(upper >> 48);
  column[1] = column[0] + difference(upper, 36);
  column[2] = column[1] + difference(upper, 30);
  column[3] = column[2] + difference(upper, 24);
  for (std::size_t y = 0; y < 4; ++y) {
    const int at = 18 - 6 * static_cast<int>(y);
    out[y][0] = half_of_ordered(column[y]);
    column[y] += difference(upper, at);
    out[y][1] = half_of_ordered(column[y]);
    column[y] += difference(lower, at + 24);
    out[y][2] = half_of_ordered(column[y]);
    column[y] += difference(lower, at);
    out[y][3] = half_of_ordered(column[y]);
  }
}

// A shift that no block has marks one value for all samples.
constexpr unsigned first_flat = 13u << 2;

// All rows of a channel of halves. Returns the bytes taken, or 0 when they are not there.
std::size_t unpack_b44_channel(const std::uint8_t* in, std::size_t in_size, std::uint8_t* out,
                               const std::vector<const exr_row*>& rows) {
  std::size_t taken = 0;
  const std::size_t width = rows.empty() ? 0 : rows[0]->samples;
  for (std::size_t y = 0; y < rows.size(); y += 4) {
    const std::size_t height = std::min<std::size_t>(4, rows.size() - y);
    for (std::size_t x = 0; x < width; x += 4) {
      if (in_size - taken < 3) return 0;
      const bool flat = in[taken + 2] >= first_flat;
      std::uint16_t block[4][4];
      if (flat) {
        const std::uint16_t value = half_of_ordered(static_cast<std::uint32_t>(in[taken] << 8 | in[taken + 1]));
        std::fill_n(&block[0][0], 16, value);
      } else if (in_size - taken < 14) {
        return 0;
      } else {
        unpack_block(in + taken, block);
      }
      taken += flat ? 3 : 14;
      const std::size_t bytes = std::min<std::size_t>(4, width - x) * 2;
      for (std::size_t i = 0; i < height; ++i) std::memcpy(out + rows[y + i]->at + x * 2, block[i], bytes);
    }
  }
  return taken;
}

}  // namespace

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

std::size_t pxr24_bytes(std::span<const exr_row> rows) {
  std::size_t bytes = 0;
  for (const exr_row& row : rows) {
    bytes += row.samples * (row.type == EXR_PIXEL_HALF ? 2 : row.type == EXR_PIXEL_FLOAT ? 3 : 4);
  }
  return bytes;
}

void unpack_pxr24(const std::uint8_t* in, std::uint8_t* out, std::span<const exr_row> rows) {
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
}

bool unpack_b44(const std::uint8_t* in, std::size_t in_size, std::uint8_t* out, std::span<const exr_row> rows) {
  int channels = 0;
  for (const exr_row& row : rows) channels = std::max(channels, row.channel + 1);
  std::vector<const exr_row*> of_channel;
  for (int channel = 0; channel < channels; ++channel) {
    of_channel.clear();
    for (const exr_row& row : rows) {
      if (row.channel == channel) of_channel.push_back(&row);
    }
    if (of_channel.empty() || of_channel[0]->samples == 0) continue;
    std::size_t taken = 0;
    if (of_channel[0]->type == EXR_PIXEL_HALF) {
      taken = unpack_b44_channel(in, in_size, out, of_channel);
      if (taken == 0) return false;
    } else {
      for (const exr_row* row : of_channel) {
        const std::size_t bytes = row->samples * 4;
        if (in_size - taken < bytes) return false;
        std::memcpy(out + row->at, in + taken, bytes);
        taken += bytes;
      }
    }
    in += taken;
    in_size -= taken;
  }
  return in_size == 0;
}

}  // namespace img
